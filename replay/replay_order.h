// ReplayOrder: which items of a recording have come in a replay, and what they still wait for.
//
// Threads: none of its own; the replay locks around it.
#pragma once

#include <cstddef>
#include <vector>

#include "replay/recorded_provider.h"

namespace ktreplay {

class ReplayOrder {
 public:
  explicit ReplayOrder(const RecordedProvider& recorded)
      : recorded_(recorded),
        done_(static_cast<std::size_t>(recorded.items()), false),
        events_done_(recorded.events(), false) {}

  // The item has come, or is not waited for any more.
  void Done(const Item& item);

  // All that stands before the item has come, but for what nobody waits for.
  [[nodiscard]] bool IsTurnOf(const Item& item) const;

  // All begins and ends of functions that stand before the item have come.
  [[nodiscard]] bool IsTurnOfEvent(const Item& item) const {
    return events_frontier_ >= recorded_.EventsBefore(item);
  }

  // Grows as things come.
  [[nodiscard]] std::size_t frontier() const noexcept { return frontier_; }

  // Nobody waits any more for the thread whose item is the next to come.
  void GiveUpNext();

 private:
  void Advance();

  const RecordedProvider& recorded_;
  std::vector<bool> done_;    // by the places of items
  std::size_t frontier_ = 0;  // all items before this place are done, or not waited for
  // The same for the begins and ends of functions alone, which are waited for in any case.
  std::vector<bool> events_done_;
  std::size_t events_frontier_ = 0;
};

}  // namespace ktreplay
