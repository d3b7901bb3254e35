// CKtProperty is a property record that is about to be written.
//
// It has the fields and the layout of the framework's cuvo_property and owns nothing: name and
// value point into the caller's memory. It is built on the stack, handed to AddProperty() or
// SetProperty() at once, and dropped; the framework copies what it keeps.
//
// `length` is the size of the value in bytes for a scalar (texts with their terminator, 16 for a
// property set) and the number of elements for a list. `value` points to the value, or is the
// handle itself for TYPE_PROPSET.
#pragma once

#include <cstdint>
#include <type_traits>

#include "ktbus3/ktbus3.h"

class CKtProperty : public cuvo_property {
 public:
  // The framework reads the value and never writes to it; only its record has no const.
  CKtProperty(const char* propertyName, std::uint32_t propertyType, std::uint32_t propertyFlags,
              std::uint32_t propertyLength, const void* propertyValue) noexcept
      : cuvo_property{propertyName,
                      propertyType,
                      propertyFlags,
                      propertyLength,
                      0,
                      const_cast<void*>(propertyValue)} {}
};

static_assert(sizeof(CKtProperty) == sizeof(cuvo_property));
static_assert(std::is_standard_layout_v<CKtProperty>);
static_assert(!std::is_polymorphic_v<CKtProperty>);
