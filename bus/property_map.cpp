#include "bus/property_map.h"

#include <algorithm>

#include "bus/status.h"

namespace kt::bus {
namespace {

std::size_t BytesOf(const Property& property) noexcept {
  return sizeof(Property) + property.name.size() + property.value.content_bytes();
}

}  // namespace

std::shared_ptr<const Property> ReadProperty(const cuvo_property& record) {
  if (record.name == nullptr) throw StatusError(kInvalidArgument);
  return std::make_shared<const Property>(Property{record.name, PropertyValue::FromRecord(record)});
}

PropertyMap::PropertyMap(const PropertyMap& other)
    : entries_(other.entries_), depth_(other.depth_), content_bytes_(other.content_bytes_) {}

std::size_t PropertyMap::PlaceOf(std::string_view name) {
  if (entries_.size() < kIndexedFrom) {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const auto& entry) { return entry->name == name; });
    return found == entries_.end() ? kNowhere : static_cast<std::size_t>(found - entries_.begin());
  }
  if (index_.size() != entries_.size()) {
    index_.clear();
    index_.reserve(entries_.size() * 2);
    for (std::size_t i = 0; i < entries_.size(); ++i) index_.emplace(entries_[i]->name, i);
  }
  const auto found = index_.find(name);
  return found == index_.end() ? kNowhere : found->second;
}

std::shared_ptr<const Property> PropertyMap::Find(std::string_view name) {
  const std::size_t place = PlaceOf(name);
  return place == kNowhere ? nullptr : entries_[place];
}

void PropertyMap::Append(std::shared_ptr<const Property> property) {
  if (!index_.empty()) index_.emplace(property->name, entries_.size());
  const std::size_t bytes = BytesOf(*property);
  depth_ = std::max(depth_, property->value.depth());
  entries_.push_back(std::move(property));
  content_bytes_ += bytes;
}

KtStatus PropertyMap::Add(std::shared_ptr<const Property> property) {
  if (PlaceOf(property->name) != kNowhere) return kPropertyExists;
  Append(std::move(property));
  return kOk;
}

KtStatus PropertyMap::Replace(std::shared_ptr<const Property> property) {
  const std::size_t place = PlaceOf(property->name);
  if (place == kNowhere) return kNoProperty;
  if (*entries_[place] == *property) return kUnchanged;
  depth_ = std::max(depth_, property->value.depth());
  content_bytes_ += BytesOf(*property) - BytesOf(*entries_[place]);
  entries_[place] = std::move(property);
  return kOk;
}

void PropertyMap::Put(std::shared_ptr<const Property> property) {
  if (Replace(property) == kNoProperty) Append(std::move(property));
}

bool PropertyMap::operator==(const PropertyMap& other) const {
  return std::equal(
      entries_.begin(), entries_.end(), other.entries_.begin(), other.entries_.end(),
      [](const auto& left, const auto& right) { return left == right || *left == *right; });
}

}  // namespace kt::bus
