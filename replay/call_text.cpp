#include "replay/call_text.h"

#include "guid.h"
#include "property_text.h"
#include "status_text.h"

namespace ktreplay {
namespace {

std::string ThingText(const char* what, std::uint64_t number) {
  return number == 0 ? "null" : std::string(what) + " " + std::to_string(number);
}

std::string WideText(const std::string& bytes) {
  ktsvc::KtWString text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto low = static_cast<unsigned char>(bytes[i]);
    const auto high = static_cast<unsigned char>(bytes[i + 1]);
    text += static_cast<KtWchar>(low | (high << 8U));
  }
  ktsvc::Property property{"", TYPE_WSTR, 0, {text}};
  return ktsvc::ValueText(property);
}

std::string NarrowText(const std::string& text) {
  return ktsvc::ValueText({"", TYPE_STR, 0, {text}});
}

std::string TextOf(const Value& value, bool wide) {
  if (!value.text) {
    return "null";
  }
  return wide ? WideText(*value.text) : NarrowText(*value.text);
}

std::string NamesText(const std::string& names) {
  std::string text = "[";
  std::size_t at = 0;
  while (at < names.size()) {
    const std::size_t end = names.find('\0', at);
    text += (at == 0 ? "" : ", ") + NarrowText(names.substr(at, end - at));
    at = end == std::string::npos ? names.size() : end + 1;
  }
  return text + "]";
}

std::string IdsText(const Value& value) {
  if (value.ids.size() == 1 && value.kind != KTBUS_WORD_OUT_OBJECTS) {
    return ktsvc::GuidText(value.ids.front());
  }
  std::string text = "[";
  for (const KtGuid& id : value.ids) {
    text += (text.size() == 1 ? "" : ", ") + ktsvc::GuidText(id);
  }
  return text + "]";
}

std::string ContentText(const Value& value) {
  return value.properties ? ktsvc::PropertyListText(*value.properties) : "null";
}

std::string WithContent(const char* what, const Value& value) {
  std::string text = ThingText(what, value.number);
  if (value.properties) {
    text += " " + ContentText(value);
  }
  return text;
}

// A place; empty while nothing has come back.
std::string PlaceText(const Value& value) {
  switch (value.kind) {
    case KTBUS_WORD_OUT_PROPSET:
      return value.number == 0 ? "" : WithContent("set", value);
    case KTBUS_WORD_OUT_ITERATOR:
      return value.number == 0 ? "" : ThingText("iterator", value.number);
    case KTBUS_WORD_OUT_OBJECT:
    case KTBUS_WORD_OUT_OBJECTS:
      return value.ids.empty() ? "" : IdsText(value);
    case KTBUS_WORD_OUT_RECORD:
      return value.properties ? ContentText(value) : "";
    case KTBUS_WORD_OUT_TEXT:
    case KTBUS_WORD_TEXT_BUFFER:
      return value.text ? TextOf(value, false) : "";
    case KTBUS_WORD_OUT_WIDE_TEXT:
    case KTBUS_WORD_WIDE_TEXT_BUFFER:
      return value.text ? TextOf(value, true) : "";
    default:
      return value.number == 0 ? "" : std::to_string(value.number);
  }
}

std::string InText(const Value& value) {
  switch (value.kind) {
    case KTBUS_WORD_NONE:
      return "";
    case KTBUS_WORD_STATUS:
      return ktsvc::StatusHex(static_cast<KtStatus>(value.number));
    case KTBUS_WORD_BOOLEAN:
      return value.number != 0 ? "true" : "false";
    case KTBUS_WORD_INT32:
      return std::to_string(static_cast<std::int32_t>(value.number));
    case KTBUS_WORD_DATABASE:
      return ThingText("database", value.number);
    case KTBUS_WORD_PROVIDER:
      return ThingText("provider", value.number);
    case KTBUS_WORD_PROPSET:
      return WithContent("set", value);
    case KTBUS_WORD_ITERATOR:
      return ThingText("iterator", value.number);
    case KTBUS_WORD_ADDRESS:
      return ThingText("block", value.number);
    case KTBUS_WORD_LOCK:
      return ThingText("lock", value.number);
    case KTBUS_WORD_TEXT:
      return TextOf(value, false);
    case KTBUS_WORD_WIDE_TEXT:
      return TextOf(value, true);
    case KTBUS_WORD_TEXTS:
      return NamesText(value.text.value_or(""));
    case KTBUS_WORD_GUID:
    case KTBUS_WORD_OBJECT:
      return value.ids.empty() ? "null" : IdsText(value);
    case KTBUS_WORD_RECORD:
      return ContentText(value);
    case KTBUS_WORD_RETURNED_RECORD:
      return ThingText("record", value.number);
    case KTBUS_WORD_ALERT:
      return value.text ? NamesText(*value.text) + " severity " + std::to_string(value.number)
                        : "null";
    case KTBUS_WORD_EVENT:
      return "event " + TextOf(value, false) + " " + ContentText(value);
    default:
      return std::to_string(value.number);
  }
}

std::string Text(const Item& item, bool results) {
  std::string text = item.function + "(";
  bool first = true;
  for (const Value& value : item.arguments) {
    const bool place = IsPlace(value.kind);
    std::string word = place ? (results ? PlaceText(value) : "") : InText(value);
    if (place && word.empty()) {
      continue;
    }
    text += (first ? "" : ", ") + std::string(place ? "-> " : "") + word;
    first = false;
  }
  text += ")";
  if (!results) {
    return text;
  }
  if (item.outcome == KTBUS_CALL_THREW) {
    return text + " throws";
  }
  if (item.result.kind != KTBUS_WORD_NONE) {
    text += " = " + InText(item.result);
  }
  return text;
}

}  // namespace

std::string CallText(const Item& item) {
  return Text(item, item.kind != ItemKind::kEnter);
}

std::string AskedText(const Item& item) {
  return Text(item, false);
}

}  // namespace ktreplay
