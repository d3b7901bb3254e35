#include "bus/property_draft.h"

#include <algorithm>
#include <bit>
#include <string>

#include "bus/property_map.h"
#include "bus/property_set.h"
#include "bus/status.h"

namespace kt::bus {
namespace {

void Require(bool well_formed) {
  if (!well_formed) throw StatusError(kInvalidArgument);
}

const char* RequireText(const char* text) {
  Require(text != nullptr);
  return text;
}

// The bytes of a text whose record gives its room: up to its terminator, never beyond the room.
std::size_t TextBytes(const void* value, std::size_t room) noexcept {
  if (room == 0) return 0;
  const void* const end = std::memchr(value, 0, room);
  return end == nullptr ? room
                        : static_cast<std::size_t>(static_cast<const char*>(end) -
                                                   static_cast<const char*>(value));
}

std::size_t WideTextBytes(const void* value, std::size_t room) {
  Require(room % sizeof(KtWchar) == 0);
  const char* const begin = static_cast<const char*>(value);
  std::size_t length = 0;
  while (length < room && (begin[length] != 0 || begin[length + 1] != 0)) length += 2;
  return length;
}

// A distance in the place of an address.
template <typename T>
T* Distance(std::size_t distance) noexcept {
  return std::bit_cast<T*>(static_cast<std::uintptr_t>(distance));
}

// An element of a list; records come from foreign memory, which need not be aligned.
template <typename T>
T ElementAt(const void* list, std::size_t index) noexcept {
  T element;
  std::memcpy(&element, static_cast<const char*>(list) + index * sizeof(T), sizeof(T));
  return element;
}

}  // namespace

// ---- Values with links -----------------------------------------------------------------------

// Grows behind the head, where the value begins; places are counted from the image's beginning.
class PropertyDraft::Linked {
 public:
  explicit Linked(PropertyDraft& draft) noexcept : draft_(draft), bytes_(draft.linked_) {}

  // Room for the value itself.
  void Begin(std::size_t size) {
    bytes_.resize(size);
    draft_.head_.value = Distance<void>(kValuePlace);
  }

  void Put(std::size_t index, const char* text) { PutLink(index, Text(text)); }
  void Put(std::size_t index, const KtWchar* text) {
    const std::size_t units = std::char_traits<KtWchar>::length(text) + 1;
    PutLink(index, Append(text, units * sizeof(KtWchar), sizeof(KtWchar)));
  }
  void Put(std::size_t index, KtPropset handle) { PutLink(index, draft_.NumberOf(handle)); }
  void Put(std::size_t index, const KtI18NDef& message) { PutElement(index, Message(message)); }
  void Put(std::size_t index, const KtI18NFormatString& format) {
    KtI18NFormatString element{};
    element.message = Message(format.message);
    element.insertions =
        std::bit_cast<KtPropset>(static_cast<std::uintptr_t>(draft_.NumberOf(format.insertions)));
    PutElement(index, element);
  }

 private:
  std::size_t Append(const void* bytes, std::size_t size, std::size_t alignment) {
    const std::size_t place = (bytes_.size() + alignment - 1) / alignment * alignment;
    bytes_.resize(place + size);
    std::memcpy(bytes_.data() + place, bytes, size);
    return kValuePlace + place;
  }
  std::size_t Text(const char* text) { return Append(text, std::strlen(text) + 1, 1); }

  KtI18NDef Message(const KtI18NDef& message) {
    KtI18NDef element{};
    element.catalog = message.catalog;
    element.messageId = message.messageId;
    element.name = Distance<const char>(Text(message.name == nullptr ? "" : message.name));
    return element;
  }

  void PutLink(std::size_t index, std::uint64_t link) { PutElement(index, link); }
  template <typename T>
  void PutElement(std::size_t index, const T& element) {
    std::memcpy(bytes_.data() + index * sizeof(T), &element, sizeof(T));
  }

  PropertyDraft& draft_;
  std::vector<std::byte>& bytes_;
};

std::uint64_t PropertyDraft::NumberOf(KtPropset handle) {
  if (handle == nullptr) return 0;
  sets_.push_back(std::make_shared<const PropertyMap>(CopyOf(handle)));
  depth_ = std::max(depth_, 1 + sets_.back()->depth());
  return sets_.size();
}

void PropertyDraft::ReadLinked(const cuvo_property& record, const TypeLayout& layout) {
  const bool list = (record.type & kListBit) != 0;
  if (!list && layout.shape == Shape::kSet) {
    Require(record.length == kPropsetLength);
    head_.length = kPropsetLength;
    head_.value = Distance<void>(NumberOf(static_cast<KtPropset>(record.value)));
    return;
  }
  head_.length = record.length;
  const std::size_t count = list ? record.length : 1;
  if (count == 0) return;
  Require(record.value != nullptr);
  // A message is as long as its text makes it; a format string is of one length.
  if (!list && layout.shape == Shape::kMessage) Require(record.length >= layout.width);
  if (!list && layout.shape == Shape::kFormatMessage) Require(record.length == layout.width);
  Linked linked(*this);
  linked.Begin(count * layout.width);
  for (std::size_t i = 0; i < count; ++i) {
    switch (layout.shape) {
      case Shape::kText:
        linked.Put(i, RequireText(ElementAt<const char*>(record.value, i)));
        break;
      case Shape::kWideText: {
        const auto* const text = ElementAt<const KtWchar*>(record.value, i);
        Require(text != nullptr);
        linked.Put(i, text);
        break;
      }
      case Shape::kSet:
        linked.Put(i, ElementAt<KtPropset>(record.value, i));
        break;
      case Shape::kMessage:
        linked.Put(i, ElementAt<KtI18NDef>(record.value, i));
        break;
      default:
        linked.Put(i, ElementAt<KtI18NFormatString>(record.value, i));
        break;
    }
  }
  if (!list && layout.shape == Shape::kMessage) {
    head_.length = static_cast<std::uint32_t>(linked_.size());
  }
  value_ = linked_.data();
  value_size_ = linked_.size();
}

// ---- Plain values ----------------------------------------------------------------------------

void PropertyDraft::ReadPlainScalar(const cuvo_property& record, const TypeLayout& layout) {
  Require(record.value != nullptr || record.length == 0);
  value_size_ = record.length;
  if (layout.shape == Shape::kFixed) {
    Require(record.length == layout.width);
  } else if (layout.shape == Shape::kText) {
    value_size_ = TextBytes(record.value, record.length);
    terminator_ = 1;
  } else if (layout.shape == Shape::kWideText) {
    value_size_ = WideTextBytes(record.value, record.length);
    terminator_ = sizeof(KtWchar);
  }
  head_.length = static_cast<std::uint32_t>(value_size_ + terminator_);
}

// ---- PropertyDraft ---------------------------------------------------------------------------

PropertyDraft::PropertyDraft(const cuvo_property& record) : name_(RequireText(record.name)) {
  const TypeLayout& layout = FindLayout(record.type);
  Require(layout.shape != Shape::kNone);
  head_.type = record.type;
  head_.flags = record.flags;
  if (!IsPlain(record.type)) {
    ReadLinked(record, layout);
    Require(depth_ <= kDeepestNesting);
  } else {
    value_ = static_cast<const std::byte*>(record.value);
    if ((record.type & kListBit) == 0) {
      ReadPlainScalar(record, layout);
    } else {
      Require(record.value != nullptr || record.length == 0);
      head_.length = record.length;
      value_size_ = std::size_t{record.length} * layout.width;
    }
    if (value_size_ + terminator_ != 0) head_.value = Distance<void>(kValuePlace);
  }
  const std::size_t name_place = kValuePlace + value_size_ + terminator_;
  head_.name = Distance<const char>(name_place);
  size_ = name_place + name_.length + 1;
}

void PropertyDraft::WriteImage(std::byte* place) const noexcept {
  std::memcpy(place, &head_, sizeof(head_));
  place += kValuePlace;
  if (value_size_ != 0) std::memcpy(place, value_, value_size_);
  place += value_size_;
  for (std::size_t i = 0; i < terminator_; ++i) *place++ = std::byte{0};
  std::memcpy(place, name_.text, name_.length);
  place[name_.length] = std::byte{0};
}

std::optional<FlatProperty> PropertyDraft::Flat() const noexcept {
  if (!IsPlain(head_.type) || (head_.type & kListBit) != 0) return std::nullopt;
  FlatProperty flat;
  flat.type = head_.type;
  flat.flags = head_.flags;
  flat.terminator = static_cast<std::uint32_t>(terminator_);
  flat.name = {name_.text, name_.length};
  if (value_size_ != 0) flat.value = {reinterpret_cast<const char*>(value_), value_size_};
  return flat;
}

bool PropertyDraft::IsSameAs(const PropertyImage& image) const {
  // The terminator is the same where type and length are.
  return image.size == size_ && std::memcmp(image.bytes, &head_, sizeof(head_)) == 0 &&
         (value_size_ == 0 || std::memcmp(image.bytes + kValuePlace, value_, value_size_) == 0) &&
         std::equal(sets_.begin(), sets_.end(), image.sets, image.sets + image.set_count, SameSet);
}

// ---- Records ---------------------------------------------------------------------------------

namespace {

cuvo_property RecordOf(const char* name, std::uint32_t type, std::size_t length,
                       const void* value) noexcept {
  // Read and never written to; only the record has no const.
  return {name, type, 0, static_cast<std::uint32_t>(length), 0, const_cast<void*>(value)};
}

}  // namespace

cuvo_property NumberRecord(const char* name, const std::uint32_t& number) noexcept {
  return RecordOf(name, TYPE_UINT32, sizeof(number), &number);
}

cuvo_property IdRecord(const char* name, const KtObjId& id) noexcept {
  return RecordOf(name, TYPE_KTOBJID, sizeof(id), &id);
}

cuvo_property TextRecord(const char* name, const char* text) noexcept {
  return RecordOf(name, TYPE_STR, std::strlen(text) + 1, text);
}

cuvo_property WideTextRecord(const char* name, const KtWchar* text) noexcept {
  return RecordOf(name, TYPE_WSTR, (std::char_traits<KtWchar>::length(text) + 1) * sizeof(KtWchar),
                  text);
}

}  // namespace kt::bus
