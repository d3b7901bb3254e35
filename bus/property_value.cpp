#include "bus/property_value.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "bus/property_map.h"
#include "bus/property_set.h"
#include "bus/status.h"

namespace kt::bus {
namespace {

constexpr std::array kLayouts{
    TypeLayout{TYPE_BOOLEAN, Shape::kFixed, 1},
    TypeLayout{TYPE_INT32, Shape::kFixed, 4},
    TypeLayout{TYPE_UINT32, Shape::kFixed, 4},
    TypeLayout{TYPE_INT64, Shape::kFixed, 8},
    TypeLayout{TYPE_UINT64, Shape::kFixed, 8},
    TypeLayout{TYPE_STR, Shape::kText, sizeof(char*)},
    TypeLayout{TYPE_WSTR, Shape::kWideText, sizeof(KtWchar*)},
    TypeLayout{TYPE_BINARY, Shape::kBytes, 1},
    TypeLayout{TYPE_GUID, Shape::kFixed, sizeof(KtGuid)},
    TypeLayout{TYPE_PROPSET, Shape::kSet, sizeof(KtPropset)},
    TypeLayout{TYPE_KTOBJID, Shape::kFixed, sizeof(KtObjId)},
    TypeLayout{TYPE_I18N, Shape::kMessage, sizeof(KtI18NDef)},
    TypeLayout{TYPE_I18NFORMATSTRING, Shape::kFormatMessage, sizeof(KtI18NFormatString)},
    TypeLayout{TYPE_TIME, Shape::kFixed, 8},
};

constexpr std::uint32_t kPropsetLength = 16;  // what a record says, whatever a handle's size

[[noreturn]] void Refuse() {
  throw StatusError(kInvalidArgument);
}

// A text whose record gives its room in bytes: up to its terminator, never beyond the room.
std::string BoundedText(const void* value, std::uint32_t room) {
  if (room == 0) return {};
  const char* const begin = static_cast<const char*>(value);
  const void* const end = std::memchr(begin, 0, room);
  return {begin,
          end == nullptr ? room : static_cast<std::size_t>(static_cast<const char*>(end) - begin)};
}

std::string BoundedWideText(const void* value, std::uint32_t room) {
  if (room % sizeof(KtWchar) != 0) Refuse();
  const char* const begin = static_cast<const char*>(value);
  std::size_t length = 0;
  for (; length < room; length += sizeof(KtWchar)) {
    if (begin[length] == 0 && begin[length + 1] == 0) break;
  }
  return {begin, length};
}

std::string WideBytes(const KtWchar* text) {
  const std::size_t units = std::char_traits<KtWchar>::length(text);
  std::string bytes(units * sizeof(KtWchar), '\0');
  std::memcpy(bytes.data(), text, bytes.size());
  return bytes;
}

std::shared_ptr<const PropertyMap> SnapshotOrNone(KtPropset handle) {
  return handle == nullptr ? nullptr : FindPropset(handle)->Snapshot();
}

PropertyValue::Element ReadMessage(const KtI18NDef& message) {
  PropertyValue::Element element;
  element.catalog = message.catalog;
  element.message_id = message.messageId;
  if (message.name != nullptr) element.text = message.name;
  return element;
}

// Element `index` of a list; records come from foreign memory, which need not be aligned.
template <typename T>
T At(const void* list, std::size_t index) {
  T element;
  // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): a list without a value is not read.
  std::memcpy(&element, static_cast<const char*>(list) + index * sizeof(T), sizeof(T));
  return element;
}

PropertyValue::Element ReadElement(Shape shape, const void* list, std::size_t index) {
  PropertyValue::Element element;
  switch (shape) {
    case Shape::kText: {
      const auto* const text = At<const char*>(list, index);
      if (text == nullptr) Refuse();
      element.text = text;
      break;
    }
    case Shape::kWideText: {
      const auto* const text = At<const KtWchar*>(list, index);
      if (text == nullptr) Refuse();
      element.text = WideBytes(text);
      break;
    }
    case Shape::kSet:
      element.set = SnapshotOrNone(At<KtPropset>(list, index));
      break;
    case Shape::kMessage:
      element = ReadMessage(At<KtI18NDef>(list, index));
      break;
    case Shape::kFormatMessage: {
      const auto format = At<KtI18NFormatString>(list, index);
      element = ReadMessage(format.message);
      element.set = SnapshotOrNone(format.insertions);
      break;
    }
    case Shape::kFixed:
    case Shape::kBytes:
      break;
  }
  return element;
}

bool SameSet(const std::shared_ptr<const PropertyMap>& left,
             const std::shared_ptr<const PropertyMap>& right) {
  if (left == right) return true;
  return left != nullptr && right != nullptr && *left == *right;
}

}  // namespace

const TypeLayout* FindLayout(std::uint32_t type) noexcept {
  const std::uint32_t scalar = type & ~kListBit;
  if (type == (TYPE_BINARY | kListBit)) return nullptr;
  const auto* const found = std::find_if(kLayouts.begin(), kLayouts.end(),
                                         [&](const TypeLayout& row) { return row.type == scalar; });
  return found == kLayouts.end() ? nullptr : found;
}

bool PropertyValue::Element::operator==(const Element& other) const {
  return text == other.text && message_id == other.message_id &&
         std::memcmp(&catalog, &other.catalog, sizeof(catalog)) == 0 && SameSet(set, other.set);
}

PropertyValue::PropertyValue(std::uint32_t type, std::uint32_t flags)
    : type_(type), flags_(flags), layout_(FindLayout(type)) {
  if (layout_ == nullptr) Refuse();
}

PropertyValue PropertyValue::FromRecord(const cuvo_property& record) {
  PropertyValue value(record.type, record.flags);
  if (value.is_list()) {
    value.ReadList(record);
  } else {
    value.ReadScalar(record);
  }
  if (value.depth() > kDeepestNesting) Refuse();
  return value;
}

void PropertyValue::ReadScalar(const cuvo_property& record) {
  const bool handle = layout_->shape == Shape::kSet;
  if (record.value == nullptr && !handle && record.length != 0) Refuse();
  switch (layout_->shape) {
    case Shape::kFixed:
      if (record.length != layout_->width) Refuse();
      bytes_.assign(static_cast<const char*>(record.value), record.length);
      break;
    case Shape::kBytes:
      if (record.length != 0) bytes_.assign(static_cast<const char*>(record.value), record.length);
      break;
    case Shape::kText:
      elements_.emplace_back().text = BoundedText(record.value, record.length);
      break;
    case Shape::kWideText:
      elements_.emplace_back().text = BoundedWideText(record.value, record.length);
      break;
    case Shape::kSet:
      if (record.length != kPropsetLength) Refuse();
      elements_.emplace_back().set = SnapshotOrNone(static_cast<KtPropset>(record.value));
      break;
    case Shape::kMessage:
      if (record.length < layout_->width) Refuse();
      elements_.push_back(ReadElement(layout_->shape, record.value, 0));
      break;
    case Shape::kFormatMessage:
      if (record.length != layout_->width) Refuse();
      elements_.push_back(ReadElement(layout_->shape, record.value, 0));
      break;
  }
}

void PropertyValue::ReadList(const cuvo_property& record) {
  if (record.length == 0) return;
  if (record.value == nullptr) Refuse();
  if (layout_->shape == Shape::kFixed) {
    bytes_.assign(static_cast<const char*>(record.value),
                  static_cast<std::size_t>(record.length) * layout_->width);
    return;
  }
  elements_.reserve(record.length);
  for (std::size_t i = 0; i < record.length; ++i) {
    elements_.push_back(ReadElement(layout_->shape, record.value, i));
  }
}

PropertyValue PropertyValue::FromText(std::string text) {
  PropertyValue value(TYPE_STR, 0);
  value.elements_.emplace_back().text = std::move(text);
  return value;
}

PropertyValue PropertyValue::FromWideText(const KtWchar* text) {
  PropertyValue value(TYPE_WSTR, 0);
  value.elements_.emplace_back().text = WideBytes(text);
  return value;
}

PropertyValue PropertyValue::FromUint32(std::uint32_t number) {
  PropertyValue value(TYPE_UINT32, 0);
  value.bytes_.resize(sizeof(number));
  std::memcpy(value.bytes_.data(), &number, sizeof(number));
  return value;
}

PropertyValue PropertyValue::FromObjId(const KtObjId& id) {
  PropertyValue value(TYPE_KTOBJID, 0);
  value.bytes_.resize(sizeof(id));
  std::memcpy(value.bytes_.data(), &id, sizeof(id));
  return value;
}

std::uint32_t PropertyValue::depth() const noexcept {
  std::uint32_t deepest = 0;
  for (const Element& element : elements_) {
    if (element.set != nullptr) deepest = std::max(deepest, 1 + element.set->depth());
  }
  return deepest;
}

std::size_t PropertyValue::content_bytes() const noexcept {
  std::size_t bytes = bytes_.size();
  for (const Element& element : elements_) {
    bytes += sizeof(Element) + element.text.size();
    if (element.set != nullptr) bytes += element.set->content_bytes();
  }
  return bytes;
}

bool PropertyValue::operator==(const PropertyValue& other) const {
  return type_ == other.type_ && flags_ == other.flags_ && bytes_ == other.bytes_ &&
         elements_ == other.elements_;
}

}  // namespace kt::bus
