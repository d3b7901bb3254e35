#include "bus/property_map.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "bus/guid.h"
#include "bus/status.h"

namespace kt::bus {

const NameSecret kNameSecret{RandomNumber(), RandomNumber()};

namespace {

constexpr std::size_t kSmallestBlock = 512;
constexpr std::size_t kSmallestIndex = 64;

// Images and blocks keep to the alignment of an entry.
constexpr std::size_t RoundUp(std::size_t size) noexcept {
  return (size + 7) / 8 * 8;
}

}  // namespace

bool SameSet(const InnerSet& left, const InnerSet& right) {
  return left == right || (left != nullptr && right != nullptr && *left == *right);
}

// ---- The block -------------------------------------------------------------------------------

PropertyMap::Block* PropertyMap::NewBlock(std::size_t capacity) {
  static_assert(alignof(Entry) <= 8 && sizeof(Block) % 8 == 0 && sizeof(Entry) % 8 == 0);
  return new (::operator new(capacity)) Block{capacity, sizeof(Block), 0, 0};
}

void PropertyMap::DeleteBlock(Block* block) noexcept {
  ::operator delete(block);
}

PropertyMap::PropertyMap(const PropertyMap& other) {
  if (other.size() == 0) return;
  if (other.beside_ != nullptr && !other.beside_->sets.empty()) {
    NeedBeside().sets = other.beside_->sets;  // the index is left behind until it is needed
  }
  const Block* const from = other.block_;
  const std::size_t entries = from->count * sizeof(Entry);
  block_ = NewBlock(from->images_end + entries);
  const std::size_t capacity = block_->capacity;
  std::memcpy(Bytes(block_), Bytes(from), from->images_end);
  std::memcpy(Bytes(block_) + from->images_end, Bytes(from) + from->capacity - entries, entries);
  block_->capacity = capacity;
}

PropertyMap& PropertyMap::operator=(PropertyMap&& other) noexcept {
  if (this != &other) {
    DeleteBlock(std::exchange(block_, std::exchange(other.block_, nullptr)));
    beside_ = std::move(other.beside_);
  }
  return *this;
}

PropertyMap::~PropertyMap() {
  DeleteBlock(block_);
}

PropertyMap::Beside& PropertyMap::NeedBeside() {
  if (beside_ == nullptr) beside_ = std::make_unique<Beside>();
  return *beside_;
}

void PropertyMap::MakeRoom(std::size_t image, std::size_t entries) {
  const std::size_t more = RoundUp(image) + entries * sizeof(Entry);
  if (block_ == nullptr) {
    block_ = NewBlock(std::max(kSmallestBlock, sizeof(Block) + more));
    return;
  }
  const std::size_t entry_bytes = block_->count * sizeof(Entry);
  const std::size_t used = block_->images_end + entry_bytes;
  if (more <= block_->capacity - used) return;
  std::size_t kept = sizeof(Block) + entry_bytes;
  for (std::size_t i = 0; i < block_->count; ++i) kept += RoundUp(EntryAt(i).image_size);
  // Twice what stays: so often as it grows, so little is copied for each property in the end.
  Block* const grown = NewBlock(std::max({kSmallestBlock, 2 * kept, kept + more}));
  grown->count = block_->count;
  grown->depth = block_->depth;
  std::byte* const to = Bytes(grown);
  if (kept == used) {
    grown->images_end = block_->images_end;
    std::memcpy(to + sizeof(Block), Bytes(block_) + sizeof(Block),
                block_->images_end - sizeof(Block));
    std::memcpy(to + grown->capacity - entry_bytes, Bytes(block_) + block_->capacity - entry_bytes,
                entry_bytes);
  } else {
    for (std::size_t i = 0; i < block_->count; ++i) {  // without the gaps
      Entry entry = EntryAt(i);
      std::memcpy(to + grown->images_end, Bytes(block_) + entry.image, entry.image_size);
      entry.image = grown->images_end;
      grown->images_end += RoundUp(entry.image_size);
      new (Entries(grown) - i) Entry(entry);
    }
  }
  DeleteBlock(block_);
  block_ = grown;
}

std::uint32_t PropertyMap::MakeRoomForSets(std::size_t count) {
  if (count == 0) return 0;
  std::vector<InnerSet>& sets = NeedBeside().sets;
  if (sets.capacity() - sets.size() < count) {
    // Sets of values that were replaced have left null behind; only the others move.
    std::vector<InnerSet> larger;
    const auto gone = static_cast<std::size_t>(std::count(sets.begin(), sets.end(), nullptr));
    larger.reserve(2 * (sets.size() - gone) + count);
    for (std::size_t i = 0; i < size(); ++i) {
      Entry& entry = EntryAt(i);
      const std::size_t first = entry.first_set;
      entry.first_set = static_cast<std::uint32_t>(larger.size());
      for (std::size_t set = 0; set < entry.set_count; ++set) {
        larger.push_back(std::move(sets[first + set]));
      }
    }
    sets.swap(larger);
  }
  return static_cast<std::uint32_t>(sets.size());
}

// ---- Looking for names -----------------------------------------------------------------------

std::size_t PropertyMap::PlaceInIndex(const PropertyName& name) {
  if (beside_ == nullptr || beside_->indexed != block_->count) Index();
  const std::uint32_t* const index = beside_->index.data();
  const std::size_t mask = beside_->index.size() - 1;
  for (std::size_t i = name.hash & mask; index[i] != 0; i = (i + 1) & mask) {
    const std::size_t place = index[i] - 1;
    const Entry& entry = EntryAt(place);
    if (entry.name_hash == name.hash && HasName(entry, name)) return place;
  }
  return kNowhere;
}

void PropertyMap::Index() {
  Beside& beside = NeedBeside();
  if (beside.index.size() < 3 * std::size_t{block_->count}) {
    std::vector<std::uint32_t> larger(
        std::max(kSmallestIndex, std::bit_ceil(4 * std::size_t{block_->count})));
    beside.index.swap(larger);
    beside.indexed = 0;
  }
  const std::size_t mask = beside.index.size() - 1;
  for (; beside.indexed < block_->count; ++beside.indexed) {
    std::size_t i = EntryAt(beside.indexed).name_hash & mask;
    while (beside.index[i] != 0) i = (i + 1) & mask;
    beside.index[i] = static_cast<std::uint32_t>(beside.indexed + 1);
  }
}

// ---- Properties ------------------------------------------------------------------------------

void PropertyMap::WriteImage(Entry& entry, const PropertyDraft& property) noexcept {
  entry.image_size = property.image_size();
  property.WriteImage(Bytes(block_) + entry.image);
  block_->depth = std::max(block_->depth, property.depth());
}

void PropertyMap::Append(const PropertyDraft& property) {
  MakeRoom(property.image_size(), 1);
  const std::size_t sets = property.sets().size();
  const std::uint32_t first_set = sets == 0 ? 0 : MakeRoomForSets(sets);
  // Nothing from here on throws.
  auto* const entry = new (Entries(block_) - block_->count)
      Entry{block_->images_end,
            0,
            property.name().hash,
            static_cast<std::uint32_t>(property.name().length),
            first_set,
            static_cast<std::uint32_t>(sets)};
  WriteImage(*entry, property);
  for (const InnerSet& set : property.sets()) beside_->sets.push_back(set);
  block_->images_end += RoundUp(entry->image_size);
  ++block_->count;
}

KtStatus PropertyMap::Add(const PropertyDraft& property) {
  if (PlaceOf(property.name()) != kNowhere) return kPropertyExists;
  Append(property);
  return kOk;
}

KtStatus PropertyMap::Replace(const PropertyDraft& property) {
  const std::size_t place = PlaceOf(property.name());
  if (place == kNowhere) return kNoProperty;
  if (property.IsSameAs(At(place))) return kUnchanged;
  const bool fits = RoundUp(property.image_size()) == RoundUp(EntryAt(place).image_size);
  if (!fits) MakeRoom(property.image_size(), 0);
  const std::size_t set_count = property.sets().size();
  const bool sets_fit = set_count == EntryAt(place).set_count;
  const std::uint32_t first_set = sets_fit ? EntryAt(place).first_set : MakeRoomForSets(set_count);
  // Nothing from here on throws. What MakeRoom() moved has moved; the content is still the old one.
  Entry& entry = EntryAt(place);
  if (!fits) {
    entry.image = block_->images_end;
    block_->images_end += RoundUp(property.image_size());
  }
  WriteImage(entry, property);
  if (sets_fit) {
    for (std::size_t i = 0; i < set_count; ++i) beside_->sets[first_set + i] = property.sets()[i];
  } else {
    for (std::size_t i = 0; i < entry.set_count; ++i) beside_->sets[entry.first_set + i] = nullptr;
    for (const InnerSet& set : property.sets()) beside_->sets.push_back(set);
    entry.first_set = first_set;
    entry.set_count = static_cast<std::uint32_t>(set_count);
  }
  return kOk;
}

void PropertyMap::Put(const PropertyDraft& property) {
  if (Replace(property) == kNoProperty) Append(property);
}

std::size_t PropertyMap::content_bytes() const noexcept {
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < size(); ++i) {
    const PropertyImage image = At(i);
    bytes += sizeof(Entry) + image.size;
    for (std::size_t set = 0; set < image.set_count; ++set) {
      bytes += image.sets[set]->content_bytes();
    }
  }
  return bytes;
}

bool PropertyMap::operator==(const PropertyMap& other) const {
  if (size() != other.size()) return false;
  for (std::size_t i = 0; i < size(); ++i) {
    const PropertyImage left = At(i);
    const PropertyImage right = other.At(i);
    if (left.size != right.size || std::memcmp(left.bytes, right.bytes, left.size) != 0 ||
        !std::equal(left.sets, left.sets + left.set_count, right.sets, right.sets + right.set_count,
                    SameSet)) {
      return false;
    }
  }
  return true;
}

}  // namespace kt::bus
