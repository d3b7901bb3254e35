#include "sse_reader.h"

#include <utility>

namespace ktctl {

void SseReader::TakeField(std::string_view line) {
  const std::size_t colon = line.find(':');
  const std::string_view name = line.substr(0, colon);
  std::string_view value;
  if (colon != std::string_view::npos) {
    value = line.substr(colon + 1);
    if (value.starts_with(' ')) {
      value.remove_prefix(1);
    }
  }
  if (name == "id") {
    event_.id = value;
  } else if (name == "event") {
    event_.name = value;
  } else if (name == "data") {
    event_.data.append(hasData_ ? "\n" : "").append(value);
    hasData_ = true;
  }
}

std::optional<SseReader::Event> SseReader::Next() {
  std::size_t at = 0;
  std::optional<Event> whole;
  while (!whole) {
    const std::size_t end = rest_.find('\n', at);
    if (end == std::string::npos) {
      break;
    }
    std::string_view line = std::string_view(rest_).substr(at, end - at);
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    at = end + 1;
    if (!line.empty()) {
      TakeField(line);
    } else {
      // One without data is none.
      if (hasData_) {
        whole = std::move(event_);
      }
      event_ = {};
      hasData_ = false;
    }
  }
  rest_.erase(0, at);
  return whole;
}

}  // namespace ktctl
