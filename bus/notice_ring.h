// NoticeRing holds notices in the order of Put(), in one piece of memory that is used again:
// notices come and go without memory of their own.
//
// Threads:   none of its own; guarded by whoever holds it.
// Failure:   Reserve() throws std::bad_alloc with nothing changed; nothing else fails.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "bus/notice.h"

namespace kt::bus {

class NoticeRing {
 public:
  // What an empty ring keeps at most; a burst that was longer gives its memory back.
  static constexpr std::size_t kKeptPlaces = 1024;

  [[nodiscard]] bool empty() const noexcept { return count_ == 0; }
  [[nodiscard]] std::size_t size() const noexcept { return count_; }
  [[nodiscard]] std::size_t capacity() const noexcept { return places_.size(); }

  // Makes room for one more.
  void Reserve() {
    if (count_ < places_.size()) return;
    std::vector<Notice> grown(places_.empty() ? 8 : 2 * places_.size());
    for (std::size_t i = 0; i < count_; ++i) grown[i] = std::move(places_[Wrapped(first_ + i)]);
    places_ = std::move(grown);
    first_ = 0;
  }

  // There must be room.
  void Put(Notice notice) noexcept {
    places_[Wrapped(first_ + count_)] = std::move(notice);
    ++count_;
  }

  // The ring must not be empty.
  Notice Take() noexcept {
    Notice taken = std::move(places_[first_]);
    first_ = Wrapped(first_ + 1);
    --count_;
    return taken;
  }

  void Clear() noexcept {
    places_ = {};
    first_ = 0;
    count_ = 0;
  }

  // Gives memory back that a burst took, when the ring is empty.
  void Shrink() noexcept {
    if (count_ == 0 && places_.size() > kKeptPlaces) Clear();
  }

 private:
  // The number of places is a power of two.
  [[nodiscard]] std::size_t Wrapped(std::size_t place) const noexcept {
    return place & (places_.size() - 1);
  }

  std::vector<Notice> places_;
  std::size_t first_ = 0;
  std::size_t count_ = 0;
};

}  // namespace kt::bus
