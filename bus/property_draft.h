// PropertyDraft is a record on its way into a property map: checked, measured, and with the sets
// inside it copied, but with its bytes still where the caller has them. They are copied once, to
// the place where they stay.
//
// Threads:   none of its own. It is made before the map that it goes into is locked, since it may
//            have to look into other sets, or into that one.
// Ownership: points into the caller's record and lives no longer than the call.
// Failure:   the constructor throws StatusError for a record that is not well formed, carries a
//            handle that is none or is nested too deep.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "bus/flat_property.h"
#include "bus/property_image.h"
#include "bus/property_name.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

// Sets nested deeper than this are refused: releasing and comparing them recurses.
inline constexpr std::uint32_t kDeepestNesting = 64;

class PropertyDraft {
 public:
  explicit PropertyDraft(const cuvo_property& record);

  [[nodiscard]] const PropertyName& name() const noexcept { return name_; }

  // The sets inside it, in the order of their numbers; null ones have none.
  [[nodiscard]] const std::vector<InnerSet>& sets() const noexcept { return sets_; }

  // How many property sets stand one inside the other below it.
  [[nodiscard]] std::uint32_t depth() const noexcept { return depth_; }

  // The size of its image, and the image itself, written to that many bytes.
  [[nodiscard]] std::size_t image_size() const noexcept { return size_; }
  void WriteImage(std::byte* place) const noexcept;

  // The same as a flat property; nothing when it is a list or has links.
  [[nodiscard]] std::optional<FlatProperty> Flat() const noexcept;

  // Whether the image of a property of this name is that of this property.
  [[nodiscard]] bool IsSameAs(const PropertyImage& image) const;

 private:
  void ReadPlainScalar(const cuvo_property& record, const TypeLayout& layout);
  void ReadLinked(const cuvo_property& record, const TypeLayout& layout);

  // The image of a value with links, but for the name.
  class Linked;
  std::uint64_t NumberOf(KtPropset handle);

  PropertyName name_;
  cuvo_property head_{};              // as in the image
  const std::byte* value_ = nullptr;  // the value of the caller, or linked_'s
  std::size_t value_size_ = 0;        // without the terminator
  std::size_t terminator_ = 0;        // bytes of zero behind it
  std::size_t size_ = 0;
  std::uint32_t depth_ = 0;
  std::vector<std::byte> linked_;  // the value of one with links, and all that belongs to it
  std::vector<InnerSet> sets_;
};

// Records of the framework's own making. They point to what they are given.
cuvo_property NumberRecord(const char* name, const std::uint32_t& number) noexcept;
cuvo_property IdRecord(const char* name, const KtObjId& id) noexcept;
cuvo_property TextRecord(const char* name, const char* text) noexcept;
cuvo_property WideTextRecord(const char* name, const KtWchar* text) noexcept;

}  // namespace kt::bus
