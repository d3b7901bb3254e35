#include "bus/property_record.h"

#include <bit>
#include <cstring>
#include <new>
#include <vector>

#include "bus/memory.h"
#include "bus/property_set.h"

namespace kt::bus {
namespace {

constexpr std::size_t kAlignment = 16;  // fits every element

// Property sets made for a record; destroyed again unless the record is completed.
class MadeSets {
 public:
  explicit MadeSets(Account& account) : account_(account) {}
  ~MadeSets() {
    for (const KtPropset handle : handles_) DestroyPropset(handle);
  }
  MadeSets(const MadeSets&) = delete;
  MadeSets& operator=(const MadeSets&) = delete;

  KtPropset Make(const std::shared_ptr<const PropertyMap>& set) {
    if (set == nullptr) return nullptr;
    handles_.reserve(handles_.size() + 1);
    handles_.push_back(NewPropset(*set, &account_));
    return handles_.back();
  }
  void Keep() noexcept { handles_.clear(); }

 private:
  Account& account_;
  std::vector<KtPropset> handles_;
};

// Deals out room in a block, or only measures it while there is no block yet.
class Room {
 public:
  explicit Room(std::byte* block) : block_(block) {}

  void* Take(std::size_t size) {
    used_ = (used_ + kAlignment - 1) / kAlignment * kAlignment;
    void* const place = block_ == nullptr ? nullptr : block_ + used_;
    used_ += size;
    return place;
  }

  void* Copy(const std::string& bytes, std::size_t terminator) {
    void* const place = Take(bytes.size() + terminator);
    if (place != nullptr) {
      std::memcpy(place, bytes.data(), bytes.size());
      std::memset(static_cast<std::byte*>(place) + bytes.size(), 0, terminator);
    }
    return place;
  }

  [[nodiscard]] bool measuring() const noexcept { return block_ == nullptr; }
  [[nodiscard]] std::size_t used() const noexcept { return used_; }

 private:
  std::byte* block_;
  std::size_t used_ = 0;
};

template <typename T>
void Store(void* list, std::size_t index, const T& element) {
  if (list != nullptr) {
    std::memcpy(static_cast<std::byte*>(list) + index * sizeof(T), &element, sizeof(T));
  }
}

KtI18NDef Message(const PropertyValue::Element& element, Room& room) {
  KtI18NDef message{};
  message.catalog = element.catalog;
  message.messageId = element.message_id;
  message.name = static_cast<const char*>(room.Copy(element.text, 1));
  return message;
}

// Writes one element of a list, or the one value of a message.
void FillElement(Shape shape, const PropertyValue::Element& element, void* list, std::size_t index,
                 Room& room, MadeSets& sets) {
  switch (shape) {
    case Shape::kText:
      Store(list, index, room.Copy(element.text, 1));
      break;
    case Shape::kWideText:
      Store(list, index, room.Copy(element.text, sizeof(KtWchar)));
      break;
    case Shape::kSet:
      if (!room.measuring()) Store(list, index, sets.Make(element.set));
      break;
    case Shape::kMessage:
      Store(list, index, Message(element, room));
      break;
    case Shape::kFormatMessage: {
      KtI18NFormatString format{};
      format.message = Message(element, room);
      if (!room.measuring()) format.insertions = sets.Make(element.set);
      Store(list, index, format);
      break;
    }
    case Shape::kFixed:
    case Shape::kBytes:
      break;
  }
}

void FillList(const PropertyValue& value, cuvo_property& record, Room& room, MadeSets& sets) {
  const std::size_t count = value.shape() == Shape::kFixed ? value.bytes().size() / value.width()
                                                           : value.elements().size();
  record.length = static_cast<std::uint32_t>(count);
  if (count == 0) return;
  if (value.shape() == Shape::kFixed) {
    record.value = room.Copy(value.bytes(), 0);
    return;
  }
  record.value = room.Take(count * value.width());
  for (std::size_t i = 0; i < count; ++i) {
    FillElement(value.shape(), value.elements()[i], record.value, i, room, sets);
  }
}

void FillScalar(const PropertyValue& value, cuvo_property& record, Room& room, MadeSets& sets) {
  switch (value.shape()) {
    case Shape::kFixed:
    case Shape::kBytes:
      record.length = static_cast<std::uint32_t>(value.bytes().size());
      if (record.length != 0) record.value = room.Copy(value.bytes(), 0);
      break;
    case Shape::kText:
    case Shape::kWideText: {
      const std::string& text = value.elements().front().text;
      const std::size_t terminator = value.shape() == Shape::kText ? 1 : sizeof(KtWchar);
      record.length = static_cast<std::uint32_t>(text.size() + terminator);
      record.value = room.Copy(text, terminator);
      break;
    }
    case Shape::kSet:
      record.length = 16;
      if (!room.measuring()) record.value = sets.Make(value.elements().front().set);
      break;
    case Shape::kMessage:
      record.length =
          static_cast<std::uint32_t>(sizeof(KtI18NDef) + value.elements().front().text.size() + 1);
      record.value = room.Take(sizeof(KtI18NDef));
      FillElement(value.shape(), value.elements().front(), record.value, 0, room, sets);
      break;
    case Shape::kFormatMessage:
      record.length = sizeof(KtI18NFormatString);
      record.value = room.Take(sizeof(KtI18NFormatString));
      FillElement(value.shape(), value.elements().front(), record.value, 0, room, sets);
      break;
  }
}

// Lays the property out in the room; with a block behind the room this fills it.
void Fill(const Property& property, Room& room, MadeSets& sets) {
  void* const place = room.Take(sizeof(cuvo_property));
  cuvo_property record{};
  record.type = property.value.type();
  record.flags = property.value.flags();
  record.name = static_cast<const char*>(room.Copy(property.name, 1));
  if (property.value.is_list()) {
    FillList(property.value, record, room, sets);
  } else {
    FillScalar(property.value, record, room, sets);
  }
  Store(place, 0, record);
}

// The handles in a record that comes back. Its holder may have changed it, so a list is only
// followed where it lies inside the block.
void DestroyCarriedSets(const cuvo_property& record, const BlockInfo& block) noexcept {
  const TypeLayout* const layout = FindLayout(record.type);
  if (layout == nullptr) return;
  if (record.type == TYPE_PROPSET) {
    DestroyPropset(static_cast<KtPropset>(record.value));
    return;
  }
  if (layout->shape != Shape::kSet && layout->shape != Shape::kFormatMessage) return;
  const std::size_t count = (record.type & kListBit) != 0 ? record.length : 1;
  const auto begin = std::bit_cast<std::uintptr_t>(block.block);
  const auto list = std::bit_cast<std::uintptr_t>(record.value);
  if (list < begin || list - begin > block.size) return;
  if (count > (block.size - (list - begin)) / layout->width) return;
  for (std::size_t i = 0; i < count; ++i) {
    const auto* const element = static_cast<const std::byte*>(record.value) + i * layout->width;
    KtPropset handle = nullptr;
    if (layout->shape == Shape::kSet) {
      std::memcpy(&handle, element, sizeof(handle));
    } else {
      std::memcpy(&handle, element + offsetof(KtI18NFormatString, insertions), sizeof(handle));
    }
    if (handle != nullptr) DestroyPropset(handle);
  }
}

}  // namespace

cuvo_property* MakeRecord(const Property& property, Account& account) {
  MadeSets sets(account);
  Room measure(nullptr);
  Fill(property, measure, sets);
  auto* const block =
      static_cast<std::byte*>(AllocateBlock(measure.used(), Kind::kRecord, account));
  if (block == nullptr) throw std::bad_alloc();
  try {
    Room room(block);
    Fill(property, room, sets);
  } catch (...) {
    if (const auto claimed = ClaimBlock(block, Kind::kRecord)) ReleaseClaimed(*claimed);
    throw;
  }
  sets.Keep();
  return std::bit_cast<cuvo_property*>(block);
}

bool FreeRecord(cuvo_property* record) noexcept {
  const auto block = ClaimBlock(record, Kind::kRecord);
  if (!block) return false;
  DestroyCarriedSets(*record, *block);
  ReleaseClaimed(*block);
  return true;
}

}  // namespace kt::bus
