#include "api/metrics_text.h"

#include <array>
#include <charconv>

#include "property_text.h"

namespace ktsvc::api {
namespace {

// A label's value between its quotes. NameText() has made of it one line of UTF-8 with every
// control character and backslash escaped; so only quotes are left to escape.
std::string LabelValue(const std::string& value) {
  std::string escaped;
  for (const char c : NameText(value)) {
    escaped += c == '"' || c == '\\' ? "\\" : "";
    escaped += c;
  }
  return escaped;
}

}  // namespace

void MetricsText::Family(std::string_view name, std::string_view type, std::string_view help) {
  name_ = name;
  text_.append("# HELP ").append(name).append(" ").append(help).append("\n");
  text_.append("# TYPE ").append(name).append(" ").append(type).append("\n");
}

void MetricsText::Sample(std::uint64_t value, std::initializer_list<Label> labels) {
  Line(std::to_string(value), labels);
}

void MetricsText::Sample(double value, std::initializer_list<Label> labels) {
  std::array<char, 64> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  Line(std::string(text.data(), error == std::errc() ? end : text.data()), labels);
}

void MetricsText::Line(const std::string& value, std::initializer_list<Label> labels) {
  text_ += name_;
  const char* mark = "{";
  for (const auto& [name, text] : labels) {
    text_.append(mark).append(name).append("=\"").append(LabelValue(text)).append("\"");
    mark = ",";
  }
  text_.append(labels.size() == 0 ? " " : "} ").append(value).append("\n");
}

}  // namespace ktsvc::api
