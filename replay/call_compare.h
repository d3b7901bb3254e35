// CallCompare: whether a call is the one that was recorded.
//
// Numbers of things differ from run to run; what must agree is which is which. A thing is paired
// with the recorded one where it first appears.
//
// Threads: one thread at a time.
#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "replay/recording.h"
#include "replay/things.h"

namespace ktreplay {

class CallCompare {
 public:
  // The same function with the same arguments, as far as they go in.
  bool SameAsked(const Item& recorded, const Item& came);

  // The same, with nothing paired.
  bool WouldBeSame(const Item& recorded, const Item& came) const;

  // The same result, and the same in the places for what comes back.
  bool SameOutcome(const Item& recorded, const Item& came);

 private:
  using Key = std::pair<Space, std::uint64_t>;

  bool SameThing(Space space, std::uint64_t recorded, std::uint64_t came, bool made);
  bool SameValue(const Item& recorded, std::size_t index, const Value& came, bool made);

  std::map<Key, std::uint64_t> forth_;
  std::map<Key, std::uint64_t> back_;
};

}  // namespace ktreplay
