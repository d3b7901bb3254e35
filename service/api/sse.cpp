#include "api/sse.h"

#include <charconv>

namespace ktsvc::api {

void AppendSse(const StreamHub::Item& item, std::string& text) {
  if (item.message == nullptr) {
    text += "event: gap\ndata: {\"lost\": " + std::to_string(item.lost) +
            (item.restarted ? ", \"restarted\": true" : "") + "}\n\n";
    return;
  }
  text += "id: " + std::to_string(item.message->id) + "\nevent: ";
  text += TopicName(item.message->topic);
  text += "\ndata: " + item.message->json + "\n\n";
}

std::optional<std::uint64_t> ParseEventId(std::string_view text) noexcept {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (text.empty() || read.ec != std::errc() || read.ptr != end) {
    return std::nullopt;
  }
  return number;
}

}  // namespace ktsvc::api
