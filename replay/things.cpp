#include "replay/things.h"

namespace ktreplay {

std::uint64_t Things::NextLocked(Space space) {
  return ++last_[space];
}

std::uint64_t Things::Of(Space space, std::uint64_t word) {
  if (word == 0) {
    return 0;
  }
  const std::lock_guard lock(mutex_);
  const auto [place, added] = numbers_.try_emplace({space, word}, 0);
  if (added) {
    place->second = NextLocked(space);
  }
  return place->second;
}

std::uint64_t Things::Made(Space space, std::uint64_t word) {
  if (word == 0) {
    return 0;
  }
  const std::lock_guard lock(mutex_);
  return numbers_[{space, word}] = NextLocked(space);
}

std::uint64_t Things::Known(Space space, std::uint64_t word) const {
  const std::lock_guard lock(mutex_);
  const auto found = numbers_.find({space, word});
  return found == numbers_.end() ? 0 : found->second;
}

void Things::Gone(Space space, std::uint64_t word, std::uint64_t number) {
  const std::lock_guard lock(mutex_);
  const auto found = numbers_.find({space, word});
  if (found != numbers_.end() && found->second == number) {
    numbers_.erase(found);
  }
}

}  // namespace ktreplay
