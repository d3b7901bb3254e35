// PropertyMap holds named properties in the order of adding: a list, and beside it an index by name
// once there are many. Properties are immutable and shared, so copying a map copies pointers; the
// copy is deep all the same, since nothing that is shared ever changes.
//
// Threads: none of its own. A const map may be read by any number of threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bus/property_value.h"

namespace kt::bus {

struct Property {
  std::string name;
  PropertyValue value;

  bool operator==(const Property& other) const = default;
};

// Checks the record (a null name is refused) and copies it.
std::shared_ptr<const Property> ReadProperty(const cuvo_property& record);

// Sets nested deeper than this are refused: releasing and comparing them recurses.
inline constexpr std::uint32_t kDeepestNesting = 64;

class PropertyMap {
 public:
  PropertyMap() = default;
  PropertyMap(const PropertyMap& other);  // the index is left behind until it is needed
  PropertyMap& operator=(const PropertyMap&) = delete;
  PropertyMap(PropertyMap&&) noexcept = default;
  PropertyMap& operator=(PropertyMap&&) noexcept = default;
  ~PropertyMap() = default;

  [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }
  [[nodiscard]] const std::shared_ptr<const Property>& At(std::size_t place) const {
    return entries_[place];
  }

  // The property of that name, or null.
  [[nodiscard]] std::shared_ptr<const Property> Find(std::string_view name);

  // Each returns a status: 0, "exists", "not there" or "unchanged".
  KtStatus Add(std::shared_ptr<const Property> property);
  KtStatus Replace(std::shared_ptr<const Property> property);
  // Adds or replaces.
  void Put(std::shared_ptr<const Property> property);

  // How deep sets are nested in here. Never shrinks, which is near enough for a limit.
  [[nodiscard]] std::uint32_t depth() const noexcept { return depth_; }

  // How many bytes the properties take, their names and the sets inside them included.
  [[nodiscard]] std::size_t content_bytes() const noexcept { return content_bytes_; }

  // The same properties in the same order.
  bool operator==(const PropertyMap& other) const;

 private:
  static constexpr std::size_t kIndexedFrom = 9;
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept {
      return std::hash<std::string_view>{}(name);
    }
  };

  std::size_t PlaceOf(std::string_view name);
  void Append(std::shared_ptr<const Property> property);

  std::vector<std::shared_ptr<const Property>> entries_;
  std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> index_;
  std::uint32_t depth_ = 0;
  std::size_t content_bytes_ = 0;
};

}  // namespace kt::bus
