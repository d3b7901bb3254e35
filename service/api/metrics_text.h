// MetricsText: figures in the text format that Prometheus reads, version 0.0.4.
//
// Threads: one thread for one text.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace ktsvc::api {

class MetricsText {
 public:
  using Label = std::pair<std::string_view, std::string>;

  // Begins a family; its samples follow. `type` is "gauge" or "counter".
  void Family(std::string_view name, std::string_view type, std::string_view help);

  // One sample of the family begun last.
  void Sample(std::uint64_t value, std::initializer_list<Label> labels = {});
  void Sample(double value, std::initializer_list<Label> labels = {});

  [[nodiscard]] const std::string& text() const noexcept { return text_; }

 private:
  void Line(const std::string& value, std::initializer_list<Label> labels);

  std::string name_;
  std::string text_;
};

}  // namespace ktsvc::api
