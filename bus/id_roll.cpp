#include "bus/id_roll.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <new>

#include "bus/huge_pages.h"

namespace kt::bus {
namespace {

constexpr std::size_t kFewest = 16;

bool IsGap(const KtObjId& id) noexcept {
  const auto halves = std::bit_cast<std::array<std::uint64_t, 2>>(id);
  return (halves[0] | halves[1]) == 0;
}

// Gives the list the room for what it has and half as many more.
template <typename T>
void Fit(std::vector<T>& list) {
  std::vector<T> fitting;
  fitting.reserve(std::max(kFewest, list.size() * 3 / 2));
  WantHugePages(fitting.data(), fitting.capacity() * sizeof(T));
  fitting.assign(list.begin(), list.end());
  list.swap(fitting);
}

template <typename T>
void MakeRoomIn(std::vector<T>& list) {
  if (list.size() == list.capacity()) Fit(list);
}

// Nothing when there is no memory for it: then the list keeps its room.
template <typename T>
void GiveRoomBack(std::vector<T>& list) noexcept {
  try {
    Fit(list);
  } catch (const std::bad_alloc&) {
    return;
  }
}

}  // namespace

void IdRoll::MakeRoom() {
  MakeRoomIn(ids_);
  MakeRoomIn(numbers_);
}

void IdRoll::Append(std::uint64_t number, const KtObjId& id) noexcept {
  ids_.push_back(id);
  numbers_.push_back(number);
}

void IdRoll::Remove(std::uint64_t number, std::size_t place) noexcept {
  // Ids only ever move to the front.
  place = std::min(place, numbers_.size() - 1);
  if (numbers_[place] != number) {
    const auto end = numbers_.begin() + static_cast<std::ptrdiff_t>(place);
    place = static_cast<std::size_t>(std::lower_bound(numbers_.begin(), end, number) -
                                     numbers_.begin());
  }
  ids_[place] = KtObjId{};
  ++gaps_;
  while (!ids_.empty() && IsGap(ids_.back())) {
    ids_.pop_back();
    numbers_.pop_back();
    --gaps_;
  }
  if (gaps_ > kFewest && gaps_ * 4 > ids_.size()) CloseGaps();
  if (ids_.capacity() > kFewest && ids_.size() * 8 < ids_.capacity()) {
    GiveRoomBack(ids_);
    GiveRoomBack(numbers_);
  }
}

void IdRoll::CloseGaps() noexcept {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < ids_.size(); ++i) {
    if (IsGap(ids_[i])) continue;
    ids_[kept] = ids_[i];
    numbers_[kept] = numbers_[i];
    ++kept;
  }
  ids_.resize(kept);
  numbers_.resize(kept);
  gaps_ = 0;
}

void IdRoll::CopyTo(KtObjId* room) const noexcept {
  if (gaps_ == 0) {
    if (!ids_.empty()) std::memcpy(room, ids_.data(), ids_.size() * sizeof(KtObjId));
    return;
  }
  // A gap is copied as well, to where the next id comes: the last one is none. So there is nothing
  // to guess for the processor, which would be wrong half of the time.
  for (const KtObjId& id : ids_) {
    *room = id;
    room += static_cast<std::ptrdiff_t>(!IsGap(id));
  }
}

void IdRoll::AppendTo(std::vector<Entry>& out) const {
  out.reserve(out.size() + size());
  for (std::size_t i = 0; i < ids_.size(); ++i) {
    if (!IsGap(ids_[i])) out.push_back({numbers_[i], ids_[i]});
  }
}

}  // namespace kt::bus
