#include "bus/pointer_table.h"

#include <bit>
#include <utility>

namespace kt::bus {
namespace {

constexpr std::size_t kFirstSize = 64;

}  // namespace

std::size_t PointerTable::Home(const void* block) const noexcept {
  // Blocks are 16-byte aligned; the multiplication spreads what is left over the high bits.
  const std::uint64_t number = std::bit_cast<std::uintptr_t>(block) >> 4U;
  return static_cast<std::size_t>((number * 0x9E3779B97F4A7C15U) >> 20U) & (places_.size() - 1);
}

std::size_t PointerTable::Place(const void* block) const noexcept {
  std::size_t place = Home(block);
  while (places_[place].block != nullptr && places_[place].block != block) {
    place = (place + 1) & (places_.size() - 1);
  }
  return place;
}

void PointerTable::Add(const BlockInfo& info) {
  if ((count_ + 1) * 2 > places_.size()) Grow();
  places_[Place(info.block)] = info;
  ++count_;
}

const BlockInfo* PointerTable::Find(const void* block) const noexcept {
  if (places_.empty() || block == nullptr) return nullptr;
  const BlockInfo& info = places_[Place(block)];
  return info.block == nullptr ? nullptr : &info;
}

void PointerTable::Remove(const void* block) noexcept {
  const std::size_t mask = places_.size() - 1;
  std::size_t hole = Place(block);
  // Every entry of the run behind the hole that may stand in the hole moves there, so that no
  // look-up stops short.
  for (std::size_t next = (hole + 1) & mask; places_[next].block != nullptr;
       next = (next + 1) & mask) {
    const std::size_t home = Home(places_[next].block);
    if (((next - home) & mask) >= ((next - hole) & mask)) {
      places_[hole] = places_[next];
      hole = next;
    }
  }
  places_[hole] = BlockInfo{};
  --count_;
}

void PointerTable::Grow() {
  std::vector<BlockInfo> old(places_.empty() ? kFirstSize : places_.size() * 2);
  std::swap(old, places_);
  for (const BlockInfo& info : old) {
    if (info.block != nullptr) places_[Place(info.block)] = info;
  }
}

}  // namespace kt::bus
