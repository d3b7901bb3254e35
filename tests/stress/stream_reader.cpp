#include "stress/stream_reader.h"

#include <nlohmann/json.hpp>

namespace stress {
namespace {

// What follows "NAME: " on a line of the block; nothing without such a line.
std::optional<std::string_view> Field(std::string_view block, std::string_view name) {
  while (!block.empty()) {
    const std::size_t end = std::min(block.find('\n'), block.size());
    const std::string_view line = block.substr(0, end);
    block.remove_prefix(std::min(end + 1, block.size()));
    if (line.starts_with(name) && line.substr(name.size()).starts_with(": ")) {
      return line.substr(name.size() + 2);
    }
  }
  return std::nullopt;
}

}  // namespace

void StreamReader::Take(std::string_view bytes) {
  rest_ += bytes;
  std::size_t at = 0;
  for (std::size_t end = rest_.find("\n\n", at); end != std::string::npos;
       end = rest_.find("\n\n", at)) {
    TakeBlock(std::string_view(rest_).substr(at, end - at));
    at = end + 2;
  }
  rest_.erase(0, at);
}

void StreamReader::TakeBlock(std::string_view block) {
  const auto data = Field(block, "data");
  if (!data) {
    return;  // a comment
  }
  try {
    if (Field(block, "event") == "gap") {
      TakeGap(*data);
    } else {
      TakeMessage(std::stoull(std::string(Field(block, "id").value_or(""))), *data);
    }
  } catch (const std::exception& error) {
    fault_ = "a block of the stream cannot be read: " + std::string(error.what());
  }
}

void StreamReader::TakeGap(std::string_view data) {
  const auto lost = nlohmann::json::parse(data).at("lost").get<std::uint64_t>();
  ++gaps_;
  lost_ += lost;
  missing_ += lost;
}

void StreamReader::TakeMessage(std::uint64_t id, std::string_view data) {
  ++messages_;
  if (last_ && id != *last_ + missing_ + 1 && fault_.empty()) {
    fault_ = "message " + std::to_string(id) + " follows " + std::to_string(*last_) + " with " +
             std::to_string(missing_) + " told to be missing";
  }
  last_ = id;
  missing_ = 0;
  const auto message = nlohmann::json::parse(data);
  ended_ = ended_ || (message.contains("name") && message["name"] == kEnd);
}

}  // namespace stress
