// PropertyMap holds named properties in the order of adding.
//
// All of them stand in one block: from the front on an entry for each with its image behind it, and
// from the back on, in the order of adding, where that entry is and the hash of its name. So one
// piece of memory is all that a set needs, and copying a map copies bytes. Names are looked for by
// hash: among a few by going through these places, among many in a table of them that is made when
// somebody looks and takes up what was added since. A look-up in it touches two lines of memory,
// that of the table and that of the property. The few sets inside properties stand beside the
// block; they never change, so copies share them.
//
// A value that is replaced by one of another size leaves a gap, which goes when the block grows.
//
// Threads: none of its own. A const map may be read by any number of threads.
// Failure: std::bad_alloc; the map is then as it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "bus/inlining.h"
#include "bus/property_draft.h"
#include "bus/property_image.h"
#include "bus/property_name.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

class PropertyInMap;

class PropertyMap {
 public:
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

  PropertyMap() noexcept = default;
  PropertyMap(const PropertyMap& other);
  PropertyMap& operator=(const PropertyMap&) = delete;
  PropertyMap(PropertyMap&& other) noexcept
      : block_(std::exchange(other.block_, nullptr)), beside_(std::move(other.beside_)) {}
  PropertyMap& operator=(PropertyMap&& other) noexcept;
  ~PropertyMap();

  [[nodiscard]] std::size_t size() const noexcept { return block_ == nullptr ? 0 : block_->count; }

  // The property of that name, or none. Good until the next change.
  [[nodiscard]] PropertyInMap Find(const PropertyName& name);

  // The place of the property of that name, from 0 in the order of adding, or kNowhere.
  [[nodiscard]] std::size_t PlaceOf(const PropertyName& name) {
    const Entry* const entry = EntryOf(name);
    return entry == nullptr ? kNowhere : entry->place;
  }

  // The property in a place that there is. Good until the next change.
  [[nodiscard]] PropertyInMap Look(std::size_t place) const noexcept;
  [[nodiscard]] PropertyImage At(std::size_t place) const noexcept {
    return ImageOf(EntryAt(place));
  }

  // Each returns a status: 0, "exists", "not there" or "unchanged".
  KtStatus Add(const PropertyDraft& property);
  KtStatus Replace(const PropertyDraft& property);
  // Adds or replaces.
  void Put(const PropertyDraft& property);

  // How deep sets are nested in here. Never shrinks, which is near enough for a limit.
  [[nodiscard]] std::uint32_t depth() const noexcept {
    return block_ == nullptr ? 0 : block_->depth;
  }

  // How many bytes the properties take, their names and the sets inside them included.
  [[nodiscard]] std::size_t content_bytes() const noexcept;

  // How many bytes the block has, its gaps and what is free in it included.
  [[nodiscard]] std::size_t capacity() const noexcept {
    return block_ == nullptr ? 0 : block_->capacity;
  }

  // The same properties in the same order.
  bool operator==(const PropertyMap& other) const;

 private:
  friend class PropertyInMap;

  // From this many on there is a table.
  static constexpr std::size_t kIndexedFrom = 17;

  // The beginning of the block; the images follow.
  struct Block {
    std::size_t capacity;    // bytes, this included
    std::size_t images_end;  // from the block's beginning
    std::uint32_t count;
    std::uint32_t depth;
  };
  // In front of each image.
  struct Entry {
    std::size_t image_size;
    std::uint32_t name_length;
    std::uint32_t place;
    std::uint32_t first_set;  // among those beside the block
    std::uint32_t set_count;
  };
  // Where an entry is: eighths of its distance from the block's beginning; 0: nowhere.
  struct Place {
    std::uint32_t entry;
    std::uint32_t name_hash;
  };
  // What few maps need.
  struct Beside {
    std::vector<InnerSet> sets;
    // Open addressing by the hash of the names, linear probing; the size is a power of two, and at
    // most a third of it is used.
    std::vector<Place> index;
    std::size_t mask = 0;
    std::size_t indexed = 0;  // how many properties are in it: the first ones
  };

  static std::byte* Bytes(Block* block) noexcept { return reinterpret_cast<std::byte*>(block); }
  static const std::byte* Bytes(const Block* block) noexcept {
    return reinterpret_cast<const std::byte*>(block);
  }
  // The place of property 0 is the last thing in the block, and so on towards the front.
  static Place* Places(Block* block) noexcept {
    return reinterpret_cast<Place*>(Bytes(block) + block->capacity) - 1;
  }
  static std::uint32_t Eighths(std::size_t distance) noexcept {
    return static_cast<std::uint32_t>(distance / 8);
  }
  [[nodiscard]] Entry& EntryIn(Place place) const noexcept {
    return *reinterpret_cast<Entry*>(Bytes(block_) + std::size_t{place.entry} * 8);
  }
  [[nodiscard]] Entry& EntryAt(std::size_t place) const noexcept {
    return EntryIn(*(Places(block_) - place));
  }
  static std::byte* BytesOf(Entry& entry) noexcept {
    return reinterpret_cast<std::byte*>(&entry + 1);
  }
  [[nodiscard]] PropertyImage ImageOf(const Entry& entry) const noexcept {
    return {reinterpret_cast<const std::byte*>(&entry + 1), entry.image_size,
            entry.set_count == 0 ? nullptr : beside_->sets.data() + entry.first_set,
            entry.set_count};
  }

  // Whether the entry in the place has the name.
  [[nodiscard]] bool HasName(Place place, const PropertyName& name) const noexcept {
    if (place.name_hash != name.hash) return false;
    const Entry& entry = EntryIn(place);
    // It is the last thing in an image, before its terminator.
    return entry.name_length == name.length &&
           SameText(reinterpret_cast<const char*>(&entry + 1) + entry.image_size - 1 - name.length,
                    name.text, name.length);
  }
  // The entry of the name, or null.
  [[nodiscard]] KT_IN_PLACE const Entry* EntryOf(const PropertyName& name) {
    if (block_ == nullptr) return nullptr;
    if (block_->count >= kIndexedFrom) return EntryInIndex(name);
    const Place* place = Places(block_);
    for (const Place* const end = place - block_->count; place != end; --place) {
      if (HasName(*place, name)) return &EntryIn(*place);
    }
    return nullptr;
  }
  [[nodiscard]] KT_IN_PLACE const Entry* EntryInIndex(const PropertyName& name) {
    if (beside_ == nullptr || beside_->indexed != block_->count) Index();
    const Place* const index = beside_->index.data();
    const std::size_t mask = beside_->mask;
    for (std::size_t i = name.hash & mask; index[i].entry != 0; i = (i + 1) & mask) {
      if (HasName(index[i], name)) return &EntryIn(index[i]);
    }
    return nullptr;
  }

  static std::size_t RoomOf(std::size_t image) noexcept;
  static Block* NewBlock(std::size_t capacity);
  static void DeleteBlock(Block* block) noexcept;
  [[nodiscard]] Beside& NeedBeside();

  void Index();
  // The place in the index of an entry that is in it.
  Place& IndexPlaceOf(Place place) noexcept;
  // Makes room for an entry with its image, and for its place as well where one is asked for.
  void MakeRoom(std::size_t image, std::size_t places);
  // Makes room for the sets; how many there are already.
  std::uint32_t MakeRoomForSets(std::size_t count);
  // Writes an entry with its image behind the others; there is room. Where it is.
  Place WriteEntry(const PropertyDraft& property, std::uint32_t place,
                   std::uint32_t first_set) noexcept;
  void WriteImage(Entry& entry, const PropertyDraft& property) noexcept;
  void Append(const PropertyDraft& property);

  Block* block_ = nullptr;
  std::unique_ptr<Beside> beside_;
};

// A property where it stands: what most callers want of it can be had without the sets beside it.
class PropertyInMap {
 public:
  PropertyInMap(const PropertyMap& map, const PropertyMap::Entry* entry) noexcept
      : map_(&map), entry_(entry) {}

  [[nodiscard]] bool IsThere() const noexcept { return entry_ != nullptr; }
  [[nodiscard]] const std::byte* bytes() const noexcept {
    return reinterpret_cast<const std::byte*>(entry_ + 1);
  }
  [[nodiscard]] std::size_t size() const noexcept { return entry_->image_size; }
  [[nodiscard]] PropertyImage Image() const noexcept { return map_->ImageOf(*entry_); }

 private:
  const PropertyMap* map_;
  const PropertyMap::Entry* entry_;
};

KT_IN_PLACE PropertyInMap PropertyMap::Find(const PropertyName& name) {
  return {*this, EntryOf(name)};
}

inline PropertyInMap PropertyMap::Look(std::size_t place) const noexcept {
  return {*this, &EntryAt(place)};
}

// The same content; null is the same as null alone.
bool SameSet(const InnerSet& left, const InnerSet& right);

}  // namespace kt::bus
