#include "bus/property_map.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <new>

#include "bus/guid.h"
#include "bus/status.h"

namespace kt::bus {

const NameSecret kNameSecret{RandomNumber(), RandomNumber()};

namespace {

// Ten or so usual properties, so that most sets never grow; a larger block the heap would not hand
// out again at once.
constexpr std::size_t kSmallestBlock = 1024;
constexpr std::size_t kSmallestIndex = 64;

// Entries and blocks keep to this alignment.
constexpr std::size_t RoundUp(std::size_t size) noexcept {
  return (size + kImageUnit - 1) / kImageUnit * kImageUnit;
}

}  // namespace

bool SameSet(const InnerSet& left, const InnerSet& right) {
  return left == right || (left != nullptr && right != nullptr && *left == *right);
}

// ---- The block -------------------------------------------------------------------------------

PropertyMap::Block* PropertyMap::NewBlock(std::size_t capacity) {
  static_assert(alignof(Entry) <= 8 && sizeof(Block) % 8 == 0 && sizeof(Entry) % 8 == 0);
  static_assert(sizeof(Place) >= kImageUnit);  // one stands behind every image
  if (capacity / 8 > std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
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
  const std::size_t places = from->count * sizeof(Place);
  block_ = NewBlock(from->images_end + places);
  const std::size_t capacity = block_->capacity;
  std::memcpy(Bytes(block_), Bytes(from), from->images_end);
  std::memcpy(Bytes(block_) + from->images_end, Bytes(from) + from->capacity - places, places);
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

// What an entry takes with an image of that size.
std::size_t PropertyMap::RoomOf(std::size_t image) noexcept {
  return sizeof(Entry) + RoundUp(image);
}

void PropertyMap::MakeRoom(std::size_t image, std::size_t places) {
  const std::size_t more = RoomOf(image) + places * sizeof(Place);
  if (block_ == nullptr) {
    block_ = NewBlock(std::max(kSmallestBlock, sizeof(Block) + more));
    return;
  }
  const std::size_t place_bytes = block_->count * sizeof(Place);
  const std::size_t used = block_->images_end + place_bytes;
  if (more <= block_->capacity - used) return;
  std::size_t kept = sizeof(Block) + place_bytes;
  for (std::size_t i = 0; i < block_->count; ++i) kept += RoomOf(EntryAt(i).image_size);
  // Twice what stays: so often as it grows, so little is copied for each property in the end.
  Block* const grown = NewBlock(std::max({kSmallestBlock, 2 * kept, kept + more}));
  grown->count = block_->count;
  grown->depth = block_->depth;
  std::byte* const to = Bytes(grown);
  std::memcpy(to + grown->capacity - place_bytes, Bytes(block_) + block_->capacity - place_bytes,
              place_bytes);
  if (kept == used) {
    grown->images_end = block_->images_end;
    std::memcpy(to + sizeof(Block), Bytes(block_) + sizeof(Block),
                block_->images_end - sizeof(Block));
  } else {
    for (std::size_t i = 0; i < block_->count; ++i) {  // without the gaps
      const Entry& entry = EntryAt(i);
      std::memcpy(to + grown->images_end, &entry, sizeof(Entry) + entry.image_size);
      (Places(grown) - i)->entry = Eighths(grown->images_end);
      grown->images_end += RoomOf(entry.image_size);
    }
    if (beside_ != nullptr) beside_->indexed = 0;  // it says where they were
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

void PropertyMap::Index() {
  Beside& beside = NeedBeside();
  if (beside.index.size() < 3 * std::size_t{block_->count}) {
    std::vector<Place> larger(
        std::max(kSmallestIndex, std::bit_ceil(4 * std::size_t{block_->count})));
    beside.index.swap(larger);
    beside.mask = beside.index.size() - 1;
    beside.indexed = 0;
  } else if (beside.indexed == 0) {
    std::fill(beside.index.begin(), beside.index.end(), Place{});
  }
  for (; beside.indexed < block_->count; ++beside.indexed) {
    const Place place = *(Places(block_) - beside.indexed);
    std::size_t i = place.name_hash & beside.mask;
    while (beside.index[i].entry != 0) i = (i + 1) & beside.mask;
    beside.index[i] = place;
  }
}

PropertyMap::Place& PropertyMap::IndexPlaceOf(Place place) noexcept {
  std::size_t i = place.name_hash & beside_->mask;
  while (beside_->index[i].entry != place.entry) i = (i + 1) & beside_->mask;
  return beside_->index[i];
}

// ---- Properties ------------------------------------------------------------------------------

void PropertyMap::WriteImage(Entry& entry, const PropertyDraft& property) noexcept {
  entry.image_size = property.image_size();
  property.WriteImage(BytesOf(entry));
  block_->depth = std::max(block_->depth, property.depth());
}

PropertyMap::Place PropertyMap::WriteEntry(const PropertyDraft& property, std::uint32_t place,
                                           std::uint32_t first_set) noexcept {
  const Place where{Eighths(block_->images_end), property.name().hash};
  auto* const entry = new (Bytes(block_) + block_->images_end)
      Entry{0, static_cast<std::uint32_t>(property.name().length), place, first_set,
            static_cast<std::uint32_t>(property.sets().size())};
  WriteImage(*entry, property);
  block_->images_end += RoomOf(entry->image_size);
  return where;
}

void PropertyMap::Append(const PropertyDraft& property) {
  MakeRoom(property.image_size(), 1);
  const std::size_t sets = property.sets().size();
  const std::uint32_t first_set = sets == 0 ? 0 : MakeRoomForSets(sets);
  // Nothing from here on throws.
  const Place place = WriteEntry(property, block_->count, first_set);
  new (Places(block_) - block_->count) Place(place);
  for (const InnerSet& set : property.sets()) beside_->sets.push_back(set);
  ++block_->count;
}

KtStatus PropertyMap::Add(const PropertyDraft& property) {
  if (EntryOf(property.name()) != nullptr) return kPropertyExists;
  Append(property);
  return kOk;
}

KtStatus PropertyMap::Replace(const PropertyDraft& property) {
  const std::size_t place = PlaceOf(property.name());
  if (place == kNowhere) return kNoProperty;
  if (property.IsSameAs(At(place))) return kUnchanged;
  const bool fits = RoomOf(property.image_size()) == RoomOf(EntryAt(place).image_size);
  if (!fits) MakeRoom(property.image_size(), 0);
  const std::size_t set_count = property.sets().size();
  const bool sets_fit = set_count == EntryAt(place).set_count;
  const std::uint32_t first_set = sets_fit ? EntryAt(place).first_set : MakeRoomForSets(set_count);
  // Nothing from here on throws. What MakeRoom() moved has moved; the content is still the old one.
  const Entry old = EntryAt(place);
  if (fits) {
    WriteImage(EntryAt(place), property);
  } else {
    Place& entry = *(Places(block_) - place);
    const bool is_indexed = beside_ != nullptr && place < beside_->indexed;
    Place* const in_index = is_indexed ? &IndexPlaceOf(entry) : nullptr;
    entry = WriteEntry(property, old.place, old.first_set);
    if (in_index != nullptr) *in_index = entry;
  }
  if (sets_fit) {
    for (std::size_t i = 0; i < set_count; ++i) beside_->sets[first_set + i] = property.sets()[i];
  } else {
    for (std::size_t i = 0; i < old.set_count; ++i) beside_->sets[old.first_set + i] = nullptr;
    for (const InnerSet& set : property.sets()) beside_->sets.push_back(set);
    Entry& entry = EntryAt(place);
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
    bytes += sizeof(Entry) + sizeof(Place) + image.size;
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
