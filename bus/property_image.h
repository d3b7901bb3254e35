// A property as it is kept: an image of the record that it was, ready to be one again.
//
// An image has the bytes of a record (the cuvo_property, then the value with all that belongs to
// it, then the name), but where a record has an address, an image has the distance from its own
// beginning (0: null), and where a record has a property set, the number of one among the sets that
// stand beside the image (from 1; 0: none). A record is made of it by copying it and putting the
// addresses and the sets in. Images of the same property are the same, byte by byte.
//
// Threads: none of its own.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "bus/property_layout.h"

namespace kt::bus {

class PropertyMap;

// A set inside a property: never changes, so that it may be shared.
using InnerSet = std::shared_ptr<const PropertyMap>;

// A view of an image and of the sets beside it.
struct PropertyImage {
  const std::byte* bytes = nullptr;
  std::size_t size = 0;
  const InnerSet* sets = nullptr;
  std::size_t set_count = 0;

  [[nodiscard]] cuvo_property Head() const noexcept {
    cuvo_property head;
    std::memcpy(&head, bytes, sizeof(head));
    return head;
  }
};

// What an image has in the place of an address or a handle.
inline std::uint64_t LoadLink(const std::byte* place) noexcept {
  std::uint64_t link = 0;
  std::memcpy(&link, place, sizeof(link));
  return link;
}
inline void StoreLink(std::byte* place, std::uint64_t link) noexcept {
  std::memcpy(place, &link, sizeof(link));
}
static_assert(sizeof(void*) == sizeof(std::uint64_t) && sizeof(KtPropset) == sizeof(std::uint64_t));

// The first place in an image for what belongs to its value; aligned for any value.
inline constexpr std::size_t kValuePlace = sizeof(cuvo_property);
static_assert(kValuePlace % 16 == 0);

// Images take whole units, and behind the last one of a map there is one more that may be read: so
// an image can be copied in steps of two, from its value on.
inline constexpr std::size_t kImageUnit = 8;
inline constexpr std::size_t kImageStep = 2 * kImageUnit;
static_assert(kValuePlace % kImageUnit == 0);

// Calls on_address(place) for each place in the image that has a distance other than 0, and
// on_set(place) for each that has the number of a set. They may overwrite what is there.
template <typename OnAddress, typename OnSet>
void VisitLinks(std::byte* image, OnAddress&& on_address, OnSet&& on_set) {
  cuvo_property head;
  std::memcpy(&head, image, sizeof(head));
  const auto address = [&](std::byte* place) {
    if (LoadLink(place) != 0) on_address(place);
  };
  const auto set = [&](std::byte* place) {
    if (LoadLink(place) != 0) on_set(place);
  };
  const TypeLayout& type = FindLayout(head.type);
  const bool list = (head.type & kListBit) != 0;
  address(image + offsetof(cuvo_property, name));
  if (type.shape == Shape::kSet && !list) return set(image + offsetof(cuvo_property, value));
  address(image + offsetof(cuvo_property, value));
  if (IsPlain(head.type) || head.value == nullptr) return;
  std::byte* element = image + std::bit_cast<std::uintptr_t>(head.value);
  for (std::size_t left = list ? head.length : 1; left != 0; --left, element += type.width) {
    switch (type.shape) {
      case Shape::kSet:
        set(element);
        break;
      case Shape::kFormatMessage:
        set(element + offsetof(KtI18NFormatString, insertions));
        address(element + offsetof(KtI18NFormatString, message) + offsetof(KtI18NDef, name));
        break;
      case Shape::kMessage:
        address(element + offsetof(KtI18NDef, name));
        break;
      default:
        address(element);
        break;
    }
  }
}

}  // namespace kt::bus
