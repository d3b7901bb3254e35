// What a recording holds: the calls across the interface, in the order in which they were made.
//
// A call of the framework is one item, written when it returns. A call of a provider's function is
// two, one when it begins and one when it ends, for what the provider calls stands in between. The
// form in the file is in docs/recording.md.
//
// Threads: plain values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ktbus3/ktbus3_host.h"
#include "property_value.h"

namespace ktreplay {

// One word of a call, by value. Which members hold something depends on the kind; what is not there
// is as it is made here.
struct Value {
  std::uint32_t kind = KTBUS_WORD_NONE;  // KTBUS_WORD_...
  // A number, status or boolean as it is. A handle, a block or a lock: its number in the recording,
  // which it keeps while it lives; 0 for null. A place that was given: what came back there.
  std::uint64_t number = 0;
  // A text, or a name list with each name ended by a zero byte; a wide text as UTF-16, low byte
  // first. None for a null pointer.
  std::optional<std::string> text;
  std::vector<KtGuid> ids;  // a GUID or an object id; all of a list
  // A property set by value, or the one property of a record.
  std::optional<ktsvc::PropertyList> properties;
  std::vector<std::uint64_t> sets;  // numbers of the property sets that a record carries
};

enum class ItemKind : std::uint8_t {
  kCall = 1,   // the framework was called
  kEnter = 2,  // a provider's function begins
  kLeave = 3,  // it ends
};

struct Item {
  ItemKind kind = ItemKind::kCall;
  std::uint32_t outcome = KTBUS_CALL_MADE;  // KTBUS_CALL_...; not of kEnter
  std::uint64_t number = 0;                 // its place in the recording, from 1; the reader's
  std::uint64_t microseconds = 0;           // since the recording began
  std::uint64_t thread = 0;                 // a small number of the thread's own
  std::string function;
  std::string provider;
  // All words of the call. kEnter has what goes in, kLeave what comes back; the words that say
  // nothing there keep their kind alone.
  std::vector<Value> arguments;
  Value result;  // not of kEnter
};

// What stands at the head of a recording.
struct RecordingInfo {
  std::string program;      // "ktsvc 0.1.0"
  std::string system;       // "Linux" or "Windows"
  std::uint64_t begun = 0;  // milliseconds since 1970 began, UTC
};

// True for the kinds of places for what comes back.
constexpr bool IsPlace(std::uint32_t kind) noexcept {
  return kind >= KTBUS_WORD_OUT_UINT32;
}

// True for the kinds whose number is that of a thing: a handle, a block or a lock.
constexpr bool IsThing(std::uint32_t kind) noexcept {
  return (kind >= KTBUS_WORD_DATABASE && kind <= KTBUS_WORD_LOCK) ||
         kind == KTBUS_WORD_RETURNED_RECORD || kind == KTBUS_WORD_OUT_PROPSET ||
         kind == KTBUS_WORD_OUT_ITERATOR ||
         (kind >= KTBUS_WORD_OUT_OBJECTS && kind <= KTBUS_WORD_OUT_WIDE_TEXT);
}

}  // namespace ktreplay
