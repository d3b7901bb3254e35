// PropertyMap holds named properties in the order of adding.
//
// All of them stand in one block: their images from the front on, and from the back on an entry for
// each, so that one piece of memory is all that a set needs, and copying a map copies bytes. Names
// are looked for by hash: among a few by going through the entries, among many in a table that is
// made when somebody looks and takes up what was added since. The few sets inside properties stand
// beside the block; they never change, so copies share them.
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

#include "bus/property_draft.h"
#include "bus/property_image.h"
#include "bus/property_name.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

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

  // The place of the property of that name, from 0 in the order of adding, or kNowhere.
  [[nodiscard]] std::size_t PlaceOf(const PropertyName& name) {
    if (block_ == nullptr) return kNowhere;
    const std::size_t count = block_->count;
    if (count >= kIndexedFrom) return PlaceInIndex(name);
    const Entry* entry = Entries(block_);
    for (std::size_t place = 0; place < count; ++place, --entry) {
      if (entry->name_hash == name.hash && HasName(*entry, name)) return place;
    }
    return kNowhere;
  }

  // The property in a place that there is. Good until the next change.
  [[nodiscard]] PropertyImage At(std::size_t place) const noexcept {
    const Entry& entry = EntryAt(place);
    return {Bytes(block_) + entry.image, entry.image_size,
            entry.set_count == 0 ? nullptr : beside_->sets.data() + entry.first_set,
            entry.set_count};
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
  // From this many on there is a table.
  static constexpr std::size_t kIndexedFrom = 17;

  // The beginning of the block; the images follow.
  struct Block {
    std::size_t capacity;    // bytes, this included
    std::size_t images_end;  // from the block's beginning
    std::uint32_t count;
    std::uint32_t depth;
  };
  struct Entry {
    std::size_t image;  // from the block's beginning
    std::size_t image_size;
    std::uint32_t name_hash;
    std::uint32_t name_length;
    std::uint32_t first_set;  // among those beside the block
    std::uint32_t set_count;
  };
  // What few maps need.
  struct Beside {
    std::vector<InnerSet> sets;
    // Places of properties by the hash of their names, from 1; 0: free. Open addressing, linear
    // probing; the size is a power of two, and at most a third of it is used.
    std::vector<std::uint32_t> index;
    std::size_t indexed = 0;  // how many properties are in it: the first ones
  };

  static std::byte* Bytes(Block* block) noexcept { return reinterpret_cast<std::byte*>(block); }
  static const std::byte* Bytes(const Block* block) noexcept {
    return reinterpret_cast<const std::byte*>(block);
  }
  // Entry 0 is the last thing in the block, and so on towards the front.
  static Entry* Entries(Block* block) noexcept {
    return reinterpret_cast<Entry*>(Bytes(block) + block->capacity) - 1;
  }
  static const Entry* Entries(const Block* block) noexcept {
    return reinterpret_cast<const Entry*>(Bytes(block) + block->capacity) - 1;
  }
  [[nodiscard]] Entry& EntryAt(std::size_t place) const noexcept {
    return *(Entries(block_) - place);
  }
  // Whether the entry, which has the hash of the name, has the name.
  [[nodiscard]] bool HasName(const Entry& entry, const PropertyName& name) const noexcept {
    // It is the last thing in an image, before its terminator.
    return entry.name_length == name.length &&
           SameText(reinterpret_cast<const char*>(Bytes(block_) + entry.image + entry.image_size) -
                        1 - name.length,
                    name.text, name.length);
  }

  static Block* NewBlock(std::size_t capacity);
  static void DeleteBlock(Block* block) noexcept;
  [[nodiscard]] Beside& NeedBeside();

  std::size_t PlaceInIndex(const PropertyName& name);
  void Index();
  // Makes room for an image, and for an entry as well where one is asked for.
  void MakeRoom(std::size_t image, std::size_t entries);
  // Makes room for the sets; how many there are already.
  std::uint32_t MakeRoomForSets(std::size_t count);
  void WriteImage(Entry& entry, const PropertyDraft& property) noexcept;
  void Append(const PropertyDraft& property);

  Block* block_ = nullptr;
  std::unique_ptr<Beside> beside_;
};

// The same content; null is the same as null alone.
bool SameSet(const InnerSet& left, const InnerSet& right);

}  // namespace kt::bus
