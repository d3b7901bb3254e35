// The text form of one property of a set, by its type code.
#pragma once

#include <cstdint>
#include <string>

class CKtPropertySet;

namespace kt {

// The text of the property, which is of that type; with showType "(TYPE_UINT32) " and the like in
// front. The value is read with the typed getter, so a property that is gone meanwhile or has
// changed its type is traced and throws as the getter does. A type without a text form gives the
// empty text. Nested sets are printed whole and released on every path.
[[nodiscard]] std::string PropertyText(const CKtPropertySet& set, const char* name,
                                       std::uint32_t type, bool showType);

}  // namespace kt
