// IdTable finds things by their id. It owns them.
//
// It is an open table of words: each the address of a thing, and in the 16 bits that no address has
// some of its id. The ids of objects are made by chance, so their own bytes are the hash: the first
// four say where to look, the next two which of the things there is meant. A look-up goes to one
// place and reads what stands there and right behind it; a thing itself is only touched when those
// two bytes are the same, which is nearly always the one that is looked for. The table is small, so
// that much of it is in some cache however many things there are. Where a thing is taken out those
// behind it move up, so nothing is left that slows later look-ups.
//
// Threads:   none of its own.
// Failure:   Add() throws std::bad_alloc; the table is then unchanged.
// Ownership: things live from Add() to Take() or the end of the table.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "bus/guid.h"
#include "bus/sanitizers.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

// Pointer: a unique pointer to something with an id().
template <typename Pointer>
class IdTable {
 public:
  using Thing = typename Pointer::pointer;

  IdTable() = default;
  IdTable(const IdTable&) = delete;
  IdTable& operator=(const IdTable&) = delete;
  ~IdTable() {
    for (std::size_t i = 0; i < count_; ++i) Pointer(AddressIn(words_[i])).reset();
  }

  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  // How many words the table has: to see that they follow the number of things.
  [[nodiscard]] std::size_t words() const noexcept { return count_; }

  // Its id must not be there.
  void Add(Pointer&& thing) {
    if ((size_ + 1) * 8 > count_ * 7) Resize(count_ == 0 ? kFewest : count_ * 3 / 2);
    Enter(thing->id(), WordFor(thing.get(), thing->id()));
    static_cast<void>(thing.release());
    ++size_;
  }

  // The thing of that id, or null.
  [[nodiscard]] Thing Find(const KtObjId& id) const noexcept {
    const std::size_t place = PlaceOf(id);
    return place == kNowhere ? nullptr : AddressIn(words_[place]);
  }

  // Puts the thing in the place of the one of its id, which is there and is dropped.
  void Replace(Pointer&& thing) noexcept {
    Word& word = words_[PlaceOf(thing->id())];
    const Pointer dropped(AddressIn(word));
    word = WordFor(thing.get(), thing->id());
    static_cast<void>(thing.release());
  }

  // The thing taken out, or null.
  Pointer Take(const KtObjId& id) noexcept {
    std::size_t hole = PlaceOf(id);
    if (hole == kNowhere) return nullptr;
    Pointer taken(AddressIn(words_[hole]));
    for (std::size_t i = Behind(hole); words_[i] != kFree; i = Behind(i)) {
      // It may stand in the hole unless that is before the place it belongs to.
      const std::size_t home = HomeOf(AddressIn(words_[i])->id());
      if (Distance(home, i) < Distance(hole, i)) continue;
      words_[hole] = words_[i];
      hole = i;
    }
    words_[hole] = kFree;
    --size_;
    if (count_ > kFewest && size_ * 6 < count_) Shrink();
    return taken;
  }

 private:
  using Word = std::uint64_t;

  static constexpr std::size_t kFewest = 16;
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);
  static constexpr Word kFree = 0;
  static constexpr unsigned kTagShift = 48;
  static_assert(sizeof(Thing) == sizeof(Word));

  // Nothing where the address sanitizer looks for what nobody has the address of any more.
  static Word TagOf(const KtObjId& id) noexcept {
#ifdef KT_ADDRESS_IS_SANITIZED
    static_cast<void>(id);
    return 0;
#else
    return Word{id.guid.Data2} << kTagShift;
#endif
  }
  static Word WordFor(Thing thing, const KtObjId& id) noexcept {
    return TagOf(id) | std::bit_cast<std::uintptr_t>(thing);
  }
  static Thing AddressIn(Word word) noexcept {
    return std::bit_cast<Thing>(static_cast<std::uintptr_t>(word & ((Word{1} << kTagShift) - 1)));
  }

  // The first four bytes as a share of the table.
  [[nodiscard]] std::size_t HomeOf(const KtObjId& id) const noexcept {
    return static_cast<std::size_t>((Word{id.guid.Data1} * count_) >> 32U);
  }
  [[nodiscard]] std::size_t Behind(std::size_t place) const noexcept {
    return place + 1 == count_ ? 0 : place + 1;
  }
  [[nodiscard]] std::size_t Distance(std::size_t from, std::size_t to) const noexcept {
    return to >= from ? to - from : to + count_ - from;
  }

  [[nodiscard]] std::size_t PlaceOf(const KtObjId& id) const noexcept {
    if (count_ == 0) return kNowhere;
    const Word tag = TagOf(id);
    for (std::size_t i = HomeOf(id); words_[i] != kFree; i = Behind(i)) {
      if (((words_[i] ^ tag) >> kTagShift) != 0) continue;
      if (SameGuid(AddressIn(words_[i])->id().guid, id.guid)) return i;
    }
    return kNowhere;
  }

  void Enter(const KtObjId& id, Word word) noexcept {
    std::size_t i = HomeOf(id);
    while (words_[i] != kFree) i = Behind(i);
    words_[i] = word;
  }

  void Resize(std::size_t count) {
    auto words = std::make_unique<Word[]>(count);
    words_.swap(words);
    const std::size_t before = std::exchange(count_, count);
    for (std::size_t i = 0; i < before; ++i) {
      if (words[i] != kFree) Enter(AddressIn(words[i])->id(), words[i]);
    }
  }

  void Shrink() noexcept {
    try {
      Resize(count_ / 2);
    } catch (const std::bad_alloc&) {
      return;  // then it stays as large as it is
    }
  }

  std::unique_ptr<Word[]> words_;
  std::size_t count_ = 0;
  std::size_t size_ = 0;
};

}  // namespace kt::bus
