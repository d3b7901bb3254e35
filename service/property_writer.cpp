#include "property_writer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace ktsvc {
namespace {

constexpr KtStatus kInvalidArgument = 0x80070057U;
constexpr std::uint32_t kListBit = 0x80000000U;
constexpr std::uint32_t kPropsetLength = 16;  // what a record says of every set
constexpr const char* kAdd = "PsAddProperty";

// The memory of one record: it lives until the bus has copied what it points to.
class RecordMemory {
 public:
  cuvo_property Fill(const Property& property) {
    cuvo_property record{};
    record.name = property.name.c_str();
    record.type = property.type;
    record.flags = property.flags;
    if (IsListType(property.type)) {
      FillList(property, record);
    } else {
      FillScalar(property, record);
    }
    return record;
  }

 private:
  // The element as T. One that is of another kind fits no record of this type.
  template <typename T>
  static const T& As(const Element& element) {
    const T* value = std::get_if<T>(&element);
    if (value == nullptr) {
      throw BusError(kAdd, kInvalidArgument);
    }
    return *value;
  }

  template <typename T>
  void Append(const T& value) {
    const auto* const begin = reinterpret_cast<const std::byte*>(&value);
    bytes_.insert(bytes_.end(), begin, begin + sizeof(value));
  }

  KtPropset HandleOf(const PropertyList& list) {
    sets_.push_back(MakePropertySet(list));
    return sets_.back().get();
  }

  static KtI18NDef DefinitionOf(const Message& message) {
    KtI18NDef definition{};
    definition.catalog = message.catalog;
    definition.messageId = message.id;
    definition.name = message.name.c_str();
    return definition;
  }

  // Appends the element as it stands in an array of its type.
  void AppendElement(std::uint32_t scalarType, const Element& element) {
    switch (scalarType) {
      case TYPE_BOOLEAN:
        Append(static_cast<cuvo_bool>(As<bool>(element) ? 1 : 0));
        break;
      case TYPE_INT32:
        Append(As<std::int32_t>(element));
        break;
      case TYPE_UINT32:
        Append(As<std::uint32_t>(element));
        break;
      case TYPE_INT64:
        Append(As<std::int64_t>(element));
        break;
      case TYPE_UINT64:
      case TYPE_TIME:
        Append(As<std::uint64_t>(element));
        break;
      case TYPE_STR:
        Append(As<std::string>(element).c_str());
        break;
      case TYPE_WSTR:
        Append(As<KtWString>(element).c_str());
        break;
      case TYPE_GUID:
      case TYPE_KTOBJID:
        Append(As<KtGuid>(element));
        break;
      case TYPE_PROPSET:
        Append(std::holds_alternative<std::monostate>(element)
                   ? nullptr
                   : HandleOf(As<PropertyList>(element)));
        break;
      case TYPE_I18N:
        Append(DefinitionOf(As<Message>(element)));
        break;
      case TYPE_I18NFORMATSTRING: {
        const auto& message = As<FormatMessage>(element);
        KtI18NFormatString format{};
        format.message = DefinitionOf(message.message);
        format.insertions = message.insertions ? HandleOf(*message.insertions) : nullptr;
        Append(format);
        break;
      }
      default:
        throw BusError(kAdd, kInvalidArgument);
    }
  }

  void FillList(const Property& property, cuvo_property& record) {
    for (const Element& element : property.elements) {
      AppendElement(property.type & ~kListBit, element);
    }
    record.length = static_cast<std::uint32_t>(property.elements.size());
    record.value = bytes_.data();
  }

  void FillScalar(const Property& property, cuvo_property& record) {
    if (property.elements.size() != 1) {
      throw BusError(kAdd, kInvalidArgument);
    }
    const Element& element = property.elements.front();
    // These point to the value itself, where an array has a pointer to it.
    switch (property.type) {
      case TYPE_STR: {
        const auto& text = As<std::string>(element);
        Point(record, text.c_str(), text.size() + 1);
        return;
      }
      case TYPE_WSTR: {
        const auto& text = As<KtWString>(element);
        Point(record, text.c_str(), (text.size() + 1) * sizeof(KtWchar));
        return;
      }
      case TYPE_BINARY: {
        const auto& bytes = As<std::vector<std::uint8_t>>(element);
        Point(record, bytes.data(), bytes.size());
        return;
      }
      case TYPE_PROPSET:
        record.length = kPropsetLength;
        record.value = std::holds_alternative<std::monostate>(element)
                           ? nullptr
                           : HandleOf(As<PropertyList>(element));
        return;
      default:
        break;
    }
    AppendElement(property.type, element);
    const std::size_t length = property.type == TYPE_I18N
                                   ? bytes_.size() + As<Message>(element).name.size() + 1
                                   : bytes_.size();
    Point(record, bytes_.data(), length);
  }

  static void Point(cuvo_property& record, const void* value, std::size_t length) {
    record.length = static_cast<std::uint32_t>(length);
    record.value = const_cast<void*>(value);
  }

  std::vector<std::byte> bytes_;
  std::deque<OwnedSet> sets_;
};

}  // namespace

void AddToPropertySet(KtPropset set, const PropertyList& list) {
  for (const Property& property : list) {
    RecordMemory memory;
    const cuvo_property record = memory.Fill(property);
    RequireOk(PsAddProperty(set, &record), kAdd);
  }
}

OwnedSet MakePropertySet(const PropertyList& list) {
  KtPropset set = nullptr;
  RequireOk(PsCreatePropset(&set), "PsCreatePropset");
  OwnedSet owned(set);
  AddToPropertySet(set, list);
  return owned;
}

}  // namespace ktsvc
