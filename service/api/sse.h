// The text form of a stream: server-sent events.
//
// "id: 7\nevent: alerts\ndata: {...}\n\n"; for what is missing "event: gap\ndata: {"lost": 3}\n\n",
// without a number, so that one who comes back right then may still get what is kept of it. After
// another life of the service it is {"lost": 3, "restarted": true}.
//
// Threads: pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "api/stream_hub.h"

namespace ktsvc::api {

// A comment, which readers ignore.
inline constexpr std::string_view kSseComment = ":\n\n";

void AppendSse(const StreamHub::Item& item, std::string& text);

// The number in a Last-Event-ID; nothing when it is none.
std::optional<std::uint64_t> ParseEventId(std::string_view text) noexcept;

}  // namespace ktsvc::api
