#include <cstring>
#include <memory>

#include "property_value.h"

namespace ktsvc {
namespace {

constexpr KtStatus kEndOfProperties = 0xC1000014U;

struct CloseIterator {
  using pointer = KtIterator;
  void operator()(KtIterator iterator) const noexcept { KtCloseHandle(iterator); }
};
using OwnedIterator = std::unique_ptr<KtIteratorHandle, CloseIterator>;

struct FreeRecord {
  void operator()(cuvo_property* record) const noexcept { PsFreeProperty(record); }
};
using OwnedRecord = std::unique_ptr<cuvo_property, FreeRecord>;

// The element at that index of an array of T; the bytes are copied, so that no alignment is asked
// of the record.
template <typename T>
T ElementAt(const void* array, std::size_t index) {
  T element{};
  std::memcpy(&element, static_cast<const unsigned char*>(array) + index * sizeof(T), sizeof(T));
  return element;
}

Message ReadMessage(const KtI18NDef& definition) {
  return {definition.catalog, definition.messageId,
          definition.name == nullptr ? std::string() : std::string(definition.name)};
}

template <typename Char>
Element ReadText(const Char* text) {
  if (text == nullptr) {
    return std::monostate();
  }
  return std::basic_string<Char>(text);
}

// One element of a list, or a scalar as element 0 of the array that `value` points to. Texts and
// property sets are pointers in a list; the caller has put the scalar ones behind one.
Element ReadElement(std::uint32_t type, const void* array, std::size_t index) {
  switch (type & ~0x80000000U) {
    case TYPE_BOOLEAN:
      return ElementAt<std::uint8_t>(array, index) != 0;
    case TYPE_INT32:
      return ElementAt<std::int32_t>(array, index);
    case TYPE_UINT32:
      return ElementAt<std::uint32_t>(array, index);
    case TYPE_INT64:
      return ElementAt<std::int64_t>(array, index);
    case TYPE_UINT64:
    case TYPE_TIME:
      return ElementAt<std::uint64_t>(array, index);
    case TYPE_STR:
      return ReadText(ElementAt<const char*>(array, index));
    case TYPE_WSTR:
      return ReadText(ElementAt<const KtWchar*>(array, index));
    case TYPE_GUID:
    case TYPE_KTOBJID:
      return ElementAt<KtGuid>(array, index);
    case TYPE_PROPSET: {
      auto* nested = static_cast<KtPropset>(ElementAt<void*>(array, index));
      return nested == nullptr ? Element() : Element(ReadPropertySet(nested));
    }
    case TYPE_I18N:
      return ReadMessage(ElementAt<KtI18NDef>(array, index));
    case TYPE_I18NFORMATSTRING: {
      const auto record = ElementAt<KtI18NFormatString>(array, index);
      FormatMessage message{ReadMessage(record.message), std::nullopt};
      if (record.insertions != nullptr) {
        message.insertions = ReadPropertySet(record.insertions);
      }
      return message;
    }
    default:
      return std::monostate();
  }
}

Element ReadScalar(const cuvo_property& record) {
  if (record.type == TYPE_BINARY) {
    const auto* bytes = static_cast<const std::uint8_t*>(record.value);
    return bytes == nullptr ? std::vector<std::uint8_t>()
                            : std::vector<std::uint8_t>(bytes, bytes + record.length);
  }
  if (record.value == nullptr) {
    return std::monostate();
  }
  // The value field of these three is the pointer or handle itself, where a list has an array.
  const bool isPointer =
      record.type == TYPE_STR || record.type == TYPE_WSTR || record.type == TYPE_PROPSET;
  return ReadElement(record.type,
                     isPointer ? static_cast<const void*>(&record.value) : record.value, 0);
}

}  // namespace

Property ReadProperty(const cuvo_property& record) {
  Property property;
  property.name = record.name == nullptr ? "" : record.name;
  property.type = record.type;
  property.flags = record.flags;
  if (!IsListType(record.type)) {
    property.elements.push_back(ReadScalar(record));
    return property;
  }
  const std::size_t count = record.value == nullptr ? 0 : record.length;
  property.elements.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    property.elements.push_back(ReadElement(record.type, record.value, i));
  }
  return property;
}

PropertyList ReadPropertySet(KtPropset propset) {
  PropertyList list;
  if (propset == nullptr) {
    return list;
  }
  KtIterator opened = nullptr;
  RequireOk(PsOpenPropset(propset, &opened), "PsOpenPropset");
  const OwnedIterator iterator(opened);
  for (;;) {
    cuvo_property* found = nullptr;
    const KtStatus status = PsFindNextProperty(propset, iterator.get(), &found);
    if (status == kEndOfProperties) {
      return list;
    }
    RequireOk(status, "PsFindNextProperty");
    const OwnedRecord record(found);
    list.push_back(ReadProperty(*record));
  }
}

}  // namespace ktsvc
