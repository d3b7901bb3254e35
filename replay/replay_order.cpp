#include "replay/replay_order.h"

namespace ktreplay {

void ReplayOrder::Done(const Item& item) {
  done_[recorded_.PlaceOf(item)] = true;
  Advance();
  if (item.kind == ItemKind::kCall) {
    return;
  }
  events_done_[recorded_.EventsBefore(item)] = true;
  while (events_frontier_ < events_done_.size() && events_done_[events_frontier_]) {
    ++events_frontier_;
  }
}

bool ReplayOrder::IsTurnOf(const Item& item) const {
  const std::size_t place = recorded_.PlaceOf(item);
  return frontier_ >= place || recorded_.StreamAt(place).unordered;
}

void ReplayOrder::GiveUpNext() {
  recorded_.StreamAt(frontier_).unordered = true;
  Advance();
}

void ReplayOrder::Advance() {
  while (frontier_ < done_.size() &&
         (done_[frontier_] || recorded_.StreamAt(frontier_).unordered)) {
    ++frontier_;
  }
}

}  // namespace ktreplay
