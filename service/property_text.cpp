#include "property_text.h"

#include "base/utf8.h"

namespace ktsvc {
namespace {

std::string MalformedText(std::span<const std::uint8_t> bytes) {
  return "(malformed text, bytes " + HexText(bytes) + ")";
}

// Escapes control characters and what stands in `marks`.
std::string Escaped(std::string_view text, std::string_view marks) {
  std::string escaped;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (marks.find(c) != std::string_view::npos) {
      escaped += '\\';
      escaped += c;
    } else if (c == '\n') {
      escaped += "\\n";
    } else if (c == '\t') {
      escaped += "\\t";
    } else if (const std::size_t control = kt::ControlLength(text.substr(at)); control != 0) {
      for (const std::uint8_t byte : BytesOf(text.substr(at, control))) {
        escaped += "\\x" + HexText({&byte, 1});
      }
      at += control - 1;
    } else {
      escaped += c;
    }
  }
  return escaped;
}

// Turns one element into text. `quotes` is false inside a rendered message, where a text stands in
// a sentence.
struct ElementWriter {
  bool quotes = true;

  std::string operator()(std::monostate) const { return "(none)"; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int32_t value) const { return std::to_string(value); }
  std::string operator()(std::uint32_t value) const { return std::to_string(value); }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(std::uint64_t value) const { return std::to_string(value); }
  std::string operator()(const KtGuid& value) const { return GuidText(value); }

  std::string operator()(const std::string& value) const {
    if (!IsUtf8(value)) {
      return MalformedText(BytesOf(value));
    }
    return quotes ? QuotedText(value) : value;
  }

  std::string operator()(const KtWString& value) const {
    const std::optional<std::string> narrow = ToUtf8(value);
    return narrow ? (*this)(*narrow) : MalformedText(BytesOf(value));
  }

  std::string operator()(const std::vector<std::uint8_t>& value) const {
    const std::string size =
        "(" + std::to_string(value.size()) + (value.size() == 1 ? " byte)" : " bytes)");
    return value.empty() ? size : HexText(value) + " " + size;
  }

  std::string operator()(const PropertyList& value) const { return PropertyListText(value); }

  std::string operator()(const Message& value) const {
    return (*this)(value.name) + " (" + Origin(value) + ")";
  }

  std::string operator()(const FormatMessage& value) const {
    std::string text = (*this)(RenderMessage(value)) + " (" + Origin(value.message);
    if (value.insertions) {
      text += ": " + (*this)(value.message.name) + " with " + PropertyListText(*value.insertions);
    }
    return text + ")";
  }

 private:
  static std::string Origin(const Message& message) {
    return "message " + std::to_string(message.id) + " of " + GuidText(message.catalog);
  }
};

}  // namespace

std::string QuotedText(const std::string& text) {
  return '"' + Escaped(text, "\"\\") + '"';
}

std::string NameText(const std::string& name) {
  return IsUtf8(name) ? Escaped(name, "\\") : MalformedText(BytesOf(std::string_view(name)));
}

std::string PrintableText(const std::string& text) {
  return IsUtf8(text) ? Escaped(text, "") : MalformedText(BytesOf(std::string_view(text)));
}

std::string ValueText(const Property& property) {
  if (!IsListType(property.type)) {
    return property.elements.empty() ? "(none)"
                                     : std::visit(ElementWriter(), property.elements.front());
  }
  std::string text = "[";
  for (const Element& element : property.elements) {
    if (text.size() > 1) {
      text += ", ";
    }
    text += std::visit(ElementWriter(), element);
  }
  return text + "]";
}

std::string PropertyListText(const PropertyList& list) {
  std::string text = "{";
  for (const Property& property : list) {
    if (text.size() > 1) {
      text += ", ";
    }
    text += NameText(property.name) + ":" + TypeName(property.type) + "=" + ValueText(property);
  }
  return text + "}";
}

std::string RenderMessage(const FormatMessage& message) {
  const std::string& pattern = message.message.name;
  std::string text;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    if (pattern[at] != '%') {
      text += pattern[at];
      continue;
    }
    std::size_t end = at + 1;
    while (end < pattern.size() && pattern[end] >= '0' && pattern[end] <= '9') {
      ++end;
    }
    if (end == at + 1) {  // no digits: "%%", or a percent sign on its own
      text += '%';
      if (end < pattern.size() && pattern[end] == '%') {
        ++at;
      }
      continue;
    }
    const std::string number = pattern.substr(at + 1, end - at - 1);
    const Property* insertion =
        message.insertions ? FindProperty(*message.insertions, "p" + number) : nullptr;
    if (insertion == nullptr || insertion->elements.size() != 1) {
      text.append(pattern, at, end - at);
    } else {
      text += std::visit(ElementWriter{false}, insertion->elements.front());
    }
    at = end - 1;
  }
  return text;
}

}  // namespace ktsvc
