// kt::ControlKey is what a control path is made of: forty bytes that say the same as its text and
// are compared and hashed in a few steps.
//
// Two keys are equal where their paths are: the framework has one text for an id, and none for two.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/guid_order.h"
#include "ktbus3/ktbus3.h"

namespace kt {

struct ControlKey {
  KtGuid interface_id;
  KtObjId object_id;  // all zeros: any object
  std::uint32_t selector;
  std::uint32_t control_code;

  // The key under which a handler for any object stands.
  [[nodiscard]] ControlKey ForAnyObject() const noexcept {
    return {interface_id, kNullObjId, selector, control_code};
  }

  // The five products do not wait for each other, as the steps of a chain would. The factors are
  // the fractions of the golden ratio and of the roots of 2, 3, 5 and 7, made odd.
  [[nodiscard]] std::size_t Hash() const noexcept {
    std::uint64_t words[5];
    std::memcpy(words, this, sizeof(words));
    std::uint64_t hash = words[0] * 0x9E3779B97F4A7C15U + words[1] * 0x6A09E667F3BCC909U +
                         words[2] * 0xBB67AE8584CAA73BU + words[3] * 0x3C6EF372FE94F82BU +
                         words[4] * 0xA54FF53A5F1D36F1U;
    hash = (hash ^ (hash >> 32U)) * 0x9E3779B97F4A7C15U;
    return static_cast<std::size_t>(hash ^ (hash >> 32U));
  }

  friend bool operator==(const ControlKey& left, const ControlKey& right) noexcept {
    return std::memcmp(&left, &right, sizeof(ControlKey)) == 0;
  }
};
static_assert(sizeof(ControlKey) == 40, "no byte of it is padding");

}  // namespace kt
