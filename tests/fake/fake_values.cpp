#include "fake/fake_values.h"

#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

namespace fake {
namespace {

constexpr KtStatus kInvalidArgument = 0x80070057u;
constexpr KtStatus kNoObject = 0xC1000010u;
constexpr std::uint32_t kListBit = 0x80000000u;

// Bytes of a fixed-size value or list element; 0 for the other kinds.
std::size_t WidthOf(std::uint32_t type) {
  switch (type & ~kListBit) {
    case TYPE_BOOLEAN:
      return 1;
    case TYPE_INT32:
    case TYPE_UINT32:
      return 4;
    case TYPE_INT64:
    case TYPE_UINT64:
    case TYPE_TIME:
      return 8;
    case TYPE_GUID:
    case TYPE_KTOBJID:
      return 16;
    default:
      return 0;
  }
}

std::vector<std::uint8_t> BytesAt(const void* data, std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  if (size != 0) std::memcpy(bytes.data(), data, size);
  return bytes;
}

template <typename T>
T ElementAt(const void* array, std::size_t index) {
  T element;
  // NOLINTNEXTLINE(bugprone-sizeof-expression): elements that are pointers are meant too
  constexpr std::size_t kWidth = sizeof element;
  std::memcpy(static_cast<void*>(&element), static_cast<const char*>(array) + index * kWidth,
              kWidth);
  return element;
}

std::u16string WideTextAt(const KtWchar* text) {
  std::u16string copy;
  for (; *text != 0; ++text) copy.push_back(static_cast<char16_t>(*text));
  return copy;
}

Message MessageOf(const KtI18NDef& definition) {
  Message message{definition.catalog, definition.messageId, std::nullopt};
  if (definition.name != nullptr) message.name = definition.name;
  return message;
}

KtStatus ReadSet(KtPropset handle, const SetLookup& lookup, Value& value) {
  std::shared_ptr<const SetData> set;
  if (handle != nullptr) {
    set = lookup(handle);
    if (set == nullptr) return kNoObject;
  }
  value.sets.push_back(std::move(set));
  return 0;
}

KtStatus ReadFormat(const KtI18NFormatString& format, const SetLookup& lookup, Value& value) {
  value.messages.push_back(MessageOf(format.message));
  return ReadSet(format.insertions, lookup, value);
}

KtStatus ReadList(const cuvo_property& record, const SetLookup& lookup, Value& value) {
  const std::size_t count = record.length;
  if (count != 0 && record.value == nullptr) return kInvalidArgument;
  if (const std::size_t width = WidthOf(record.type); width != 0) {
    value.bytes = BytesAt(record.value, count * width);
    return 0;
  }
  for (std::size_t index = 0; index < count; ++index) {
    KtStatus status = 0;
    switch (record.type) {
      case TYPE_STRZ: {
        const auto* text = ElementAt<const char*>(record.value, index);
        value.texts.push_back(text != nullptr ? std::optional<std::string>(text) : std::nullopt);
        break;
      }
      case TYPE_WSTRZ: {
        const auto* text = ElementAt<const KtWchar*>(record.value, index);
        value.wide_texts.push_back(text != nullptr ? std::optional<std::u16string>(WideTextAt(text))
                                                   : std::nullopt);
        break;
      }
      case TYPE_PROPSETZ:
        status = ReadSet(ElementAt<KtPropset>(record.value, index), lookup, value);
        break;
      case TYPE_I18NZ:
        value.messages.push_back(MessageOf(ElementAt<KtI18NDef>(record.value, index)));
        break;
      case TYPE_I18NFORMATSTRINGZ:
        status = ReadFormat(ElementAt<KtI18NFormatString>(record.value, index), lookup, value);
        break;
      default:
        return kInvalidArgument;
    }
    if (status != 0) return status;
  }
  return 0;
}

KtStatus ReadScalar(const cuvo_property& record, const SetLookup& lookup, Value& value) {
  if (record.type == TYPE_PROPSET) {
    value.length = 16;
    return ReadSet(static_cast<KtPropset>(record.value), lookup, value);
  }
  if (record.value == nullptr && !(record.type == TYPE_BINARY && record.length == 0)) {
    return kInvalidArgument;
  }
  switch (record.type) {
    case TYPE_STR: {
      const auto* text = static_cast<const char*>(record.value);
      value.bytes = BytesAt(text, std::strlen(text) + 1);
      break;
    }
    case TYPE_WSTR: {
      const std::u16string text = WideTextAt(static_cast<const KtWchar*>(record.value));
      value.bytes = BytesAt(text.c_str(), (text.size() + 1) * 2);
      break;
    }
    case TYPE_I18N: {
      value.messages.push_back(MessageOf(ElementAt<KtI18NDef>(record.value, 0)));
      const auto& name = value.messages.front().name;
      value.length = static_cast<std::uint32_t>(sizeof(KtI18NDef) + (name ? name->size() + 1 : 0));
      return 0;
    }
    case TYPE_I18NFORMATSTRING:
      value.length = sizeof(KtI18NFormatString);
      return ReadFormat(ElementAt<KtI18NFormatString>(record.value, 0), lookup, value);
    default: {
      const std::size_t width = WidthOf(record.type);
      value.bytes = BytesAt(record.value, width != 0 ? width : record.length);
    }
  }
  value.length = static_cast<std::uint32_t>(value.bytes.size());
  return 0;
}

// Lays a block out: first to learn its size, then to fill it.
class Layout {
 public:
  explicit Layout(std::uint8_t* base) : base_(base) {}

  std::size_t size() const { return size_; }

  // Room for `size` bytes at a multiple of 8; null while only the size is asked for.
  void* Place(const void* data, std::size_t size) {
    size_ = (size_ + 7) / 8 * 8;
    std::uint8_t* place = base_ != nullptr ? base_ + size_ : nullptr;
    if (place != nullptr && size != 0) std::memcpy(place, data, size);
    size_ += size;
    return place;
  }

  const char* PlaceText(const std::optional<std::string>& text) {
    if (!text) return nullptr;
    return static_cast<const char*>(Place(text->c_str(), text->size() + 1));
  }

 private:
  std::uint8_t* base_;
  std::size_t size_ = 0;
};

template <typename T>
void* PlaceAll(Layout& layout, const std::vector<T>& elements) {
  // NOLINTNEXTLINE(bugprone-sizeof-expression): lists of pointers are meant
  return layout.Place(elements.data(), elements.size() * sizeof(T));
}

KtI18NDef DefinitionOf(const Message& message, Layout& layout) {
  return KtI18NDef{message.catalog, message.id, 0, layout.PlaceText(message.name)};
}

void* PlaceValue(const Value& value, const std::vector<KtPropset>& handles, Layout& layout) {
  const auto handle = [&](std::size_t index) -> KtPropset {
    return index < handles.size() ? handles[index] : nullptr;
  };
  if (value.type == TYPE_PROPSET) return handle(0);
  switch (value.type & ~kListBit) {
    case TYPE_STR:
      if (value.type == TYPE_STRZ) {
        std::vector<const char*> pointers;
        for (const auto& text : value.texts) pointers.push_back(layout.PlaceText(text));
        return PlaceAll(layout, pointers);
      }
      break;
    case TYPE_WSTR:
      if (value.type == TYPE_WSTRZ) {
        std::vector<const void*> pointers;
        for (const auto& text : value.wide_texts) {
          pointers.push_back(text ? layout.Place(text->c_str(), (text->size() + 1) * 2) : nullptr);
        }
        return PlaceAll(layout, pointers);
      }
      break;
    case TYPE_PROPSET: {
      std::vector<KtPropset> all(value.sets.size());
      for (std::size_t index = 0; index < all.size(); ++index) all[index] = handle(index);
      return PlaceAll(layout, all);
    }
    case TYPE_I18N: {
      std::vector<KtI18NDef> all;
      for (const Message& message : value.messages) all.push_back(DefinitionOf(message, layout));
      return PlaceAll(layout, all);
    }
    case TYPE_I18NFORMATSTRING: {
      std::vector<KtI18NFormatString> all;
      for (std::size_t index = 0; index < value.messages.size(); ++index) {
        all.push_back({DefinitionOf(value.messages[index], layout), handle(index)});
      }
      return PlaceAll(layout, all);
    }
    default:
      break;
  }
  return layout.Place(value.bytes.data(), value.bytes.size());
}

std::string ListToText(const Value& value) {
  Value element;
  element.type = value.type & ~kListBit;
  const std::size_t width = WidthOf(value.type);
  std::string text = "{";
  for (std::uint32_t index = 0; index < value.length; ++index) {
    if (index != 0) text += ", ";
    if (width != 0) {
      const auto at = value.bytes.begin() + static_cast<std::ptrdiff_t>(index * width);
      element.bytes.assign(at, at + static_cast<std::ptrdiff_t>(width));
      text += ValueToText(element);
    } else if (value.type == TYPE_STRZ) {
      text += value.texts[index].value_or("(null)");
    } else if (value.type == TYPE_WSTRZ) {
      text += WideToNarrow(value.wide_texts[index].value_or(u"(null)"));
    } else {
      element.messages.clear();
      element.sets.clear();
      if (!value.messages.empty()) element.messages.push_back(value.messages[index]);
      if (!value.sets.empty()) element.sets.push_back(value.sets[index]);
      text += ValueToText(element);
    }
  }
  return text + "}";
}

std::string SetToText(const SetData* set) {
  if (set == nullptr) return "null";
  std::string text = "[";
  for (const NamedValue& property : set->properties) {
    if (text.size() > 1) text += ", ";
    text += property.name + " = " + ValueToText(property.value);
  }
  return text + "]";
}

std::string MessageToText(const Message& message) {
  return "message " + std::to_string(message.id) + " " + GuidToText(message.catalog) + " \"" +
         message.name.value_or("(null)") + "\"";
}

}  // namespace

NamedValue* SetData::Find(const std::string& name) {
  for (NamedValue& property : properties) {
    if (property.name == name) return &property;
  }
  return nullptr;
}

bool SameSet(const SetData* left, const SetData* right) {
  if (left == nullptr || right == nullptr) return left == right;
  if (left->properties.size() != right->properties.size()) return false;
  for (std::size_t index = 0; index < left->properties.size(); ++index) {
    if (left->properties[index].name != right->properties[index].name ||
        !SameValue(left->properties[index].value, right->properties[index].value)) {
      return false;
    }
  }
  return true;
}

bool SameValue(const Value& left, const Value& right) {
  if (left.type != right.type || left.flags != right.flags || left.length != right.length ||
      left.bytes != right.bytes || left.texts != right.texts ||
      left.wide_texts != right.wide_texts || left.messages.size() != right.messages.size() ||
      left.sets.size() != right.sets.size()) {
    return false;
  }
  for (std::size_t index = 0; index < left.messages.size(); ++index) {
    const Message& ours = left.messages[index];
    const Message& theirs = right.messages[index];
    if (std::memcmp(&ours.catalog, &theirs.catalog, sizeof(KtGuid)) != 0 || ours.id != theirs.id ||
        ours.name != theirs.name) {
      return false;
    }
  }
  for (std::size_t index = 0; index < left.sets.size(); ++index) {
    if (!SameSet(left.sets[index].get(), right.sets[index].get())) return false;
  }
  return true;
}

KtStatus ReadRecord(const cuvo_property& record, const SetLookup& lookup, Value& value) {
  value = Value{};
  value.type = record.type;
  value.flags = record.flags;
  value.length = record.length;
  return (record.type & kListBit) != 0 ? ReadList(record, lookup, value)
                                       : ReadScalar(record, lookup, value);
}

cuvo_property* MakeRecord(const NamedValue& property, const BlockMaker& allocate,
                          const SetMaker& hand_out, std::vector<KtPropset>& handles) {
  handles.clear();
  for (const auto& set : property.value.sets) {
    handles.push_back(set != nullptr ? hand_out(*set) : nullptr);
  }
  const auto build = [&](Layout& layout, cuvo_property& record) {
    void* place = layout.Place(&record, sizeof record);
    record.value = PlaceValue(property.value, handles, layout);
    record.name = layout.PlaceText(property.name);
    if (place != nullptr) std::memcpy(place, &record, sizeof record);
    return static_cast<cuvo_property*>(place);
  };
  cuvo_property record{nullptr, property.value.type, property.value.flags, property.value.length, 0,
                       nullptr};
  Layout measure(nullptr);
  build(measure, record);
  Layout fill(static_cast<std::uint8_t*>(allocate(measure.size())));
  return build(fill, record);
}

std::string GuidToText(const KtGuid& guid) {
  char text[40];
  static_cast<void>(
      std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                    static_cast<unsigned>(guid.Data1), static_cast<unsigned>(guid.Data2),
                    static_cast<unsigned>(guid.Data3), static_cast<unsigned>(guid.Data4[0]),
                    static_cast<unsigned>(guid.Data4[1]), static_cast<unsigned>(guid.Data4[2]),
                    static_cast<unsigned>(guid.Data4[3]), static_cast<unsigned>(guid.Data4[4]),
                    static_cast<unsigned>(guid.Data4[5]), static_cast<unsigned>(guid.Data4[6]),
                    static_cast<unsigned>(guid.Data4[7])));
  return text;
}

std::string IdToText(const KtObjId& id) {
  static constexpr KtObjId kNull{};
  if (std::memcmp(&id, &kNull, sizeof id) == 0) return "#0";
  const KtObjId ours = ObjectNumber(id.guid.Data1);
  if (std::memcmp(&id, &ours, sizeof id) == 0) return "#" + std::to_string(id.guid.Data1);
  return GuidToText(id.guid);
}

std::string WideToNarrow(std::u16string_view text) {
  std::string narrow;
  const auto put = [&](std::uint32_t code) { narrow.push_back(static_cast<char>(code)); };
  for (std::size_t index = 0; index < text.size(); ++index) {
    std::uint32_t code = text[index];
    if (code >= 0xD800 && code < 0xDC00 && index + 1 < text.size() && text[index + 1] >= 0xDC00 &&
        text[index + 1] < 0xE000) {
      code = 0x10000u + ((code - 0xD800u) << 10u) + (text[++index] - 0xDC00u);
    }
    if (code < 0x80) {
      put(code);
    } else if (code < 0x800) {
      put(0xC0u | (code >> 6u));
      put(0x80u | (code & 0x3Fu));
    } else if (code < 0x10000) {
      put(0xE0u | (code >> 12u));
      put(0x80u | ((code >> 6u) & 0x3Fu));
      put(0x80u | (code & 0x3Fu));
    } else {
      put(0xF0u | (code >> 18u));
      put(0x80u | ((code >> 12u) & 0x3Fu));
      put(0x80u | ((code >> 6u) & 0x3Fu));
      put(0x80u | (code & 0x3Fu));
    }
  }
  return narrow;
}

std::string ValueToText(const Value& value) {
  if ((value.type & kListBit) != 0) return ListToText(value);
  const auto number = [&]<typename T>(T) {
    return std::to_string(ElementAt<T>(value.bytes.data(), 0));
  };
  switch (value.type) {
    case TYPE_BOOLEAN:
      return value.bytes[0] == 0   ? "false"
             : value.bytes[0] == 1 ? "true"
                                   : "true (" + std::to_string(value.bytes[0]) + ")";
    case TYPE_INT32:
      return number(std::int32_t{});
    case TYPE_UINT32:
      return number(std::uint32_t{});
    case TYPE_INT64:
      return number(std::int64_t{});
    case TYPE_UINT64:
    case TYPE_TIME:
      return number(std::uint64_t{});
    case TYPE_STR:
      return std::string(value.bytes.begin(), value.bytes.end() - 1);
    case TYPE_WSTR: {
      std::u16string text(value.bytes.size() / 2, u'\0');
      std::memcpy(text.data(), value.bytes.data(), text.size() * 2);
      text.pop_back();
      return WideToNarrow(text);
    }
    case TYPE_GUID:
      return GuidToText(ElementAt<KtGuid>(value.bytes.data(), 0));
    case TYPE_KTOBJID:
      return IdToText(ElementAt<KtObjId>(value.bytes.data(), 0));
    case TYPE_PROPSET:
      return SetToText(value.sets[0].get());
    case TYPE_I18N:
      return MessageToText(value.messages[0]);
    case TYPE_I18NFORMATSTRING:
      return MessageToText(value.messages[0]) + " " + SetToText(value.sets[0].get());
    default: {
      std::string text;
      for (const std::uint8_t byte : value.bytes) {
        char digits[3];
        static_cast<void>(
            std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(byte)));
        text += digits;
      }
      return text;
    }
  }
}

std::string TypeToText(std::uint32_t type) {
  static constexpr std::pair<std::uint32_t, const char*> kNames[] = {
      {TYPE_BOOLEAN, "BOOLEAN"}, {TYPE_INT32, "INT32"},
      {TYPE_UINT32, "UINT32"},   {TYPE_INT64, "INT64"},
      {TYPE_UINT64, "UINT64"},   {TYPE_STR, "STR"},
      {TYPE_WSTR, "WSTR"},       {TYPE_BINARY, "BINARY"},
      {TYPE_GUID, "GUID"},       {TYPE_PROPSET, "PROPSET"},
      {TYPE_KTOBJID, "KTOBJID"}, {TYPE_I18N, "I18N"},
      {TYPE_TIME, "TIME"},       {TYPE_I18NFORMATSTRING, "I18NFORMATSTRING"}};
  for (const auto& [code, name] : kNames) {
    if (code == type) return name;
    if ((code | kListBit) == type) return std::string(name) + "Z";
  }
  return "type " + std::to_string(type);
}

std::vector<Property> ViewOf(const SetData& set) {
  std::vector<Property> view;
  for (const NamedValue& property : set.properties) {
    view.push_back({property.name, property.value.type, property.value.flags, property.value.length,
                    ValueToText(property.value)});
  }
  return view;
}

}  // namespace fake
