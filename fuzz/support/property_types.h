// The type codes that a property can have, in the order in which a fuzz input counts them: an index
// into this table is one byte of the input, so what is moved here makes other seeds of the old
// ones.
#pragma once

#include <array>
#include <cstdint>

#include "ktbus3/ktbus3.h"

namespace kt::fuzz {

inline constexpr std::uint32_t kListBit = 0x80000000U;

inline constexpr std::array<std::uint32_t, 27> kTypes{
    TYPE_BOOLEAN, TYPE_INT32,    TYPE_UINT32,
    TYPE_INT64,   TYPE_UINT64,   TYPE_STR,
    TYPE_WSTR,    TYPE_BINARY,   TYPE_GUID,
    TYPE_PROPSET, TYPE_KTOBJID,  TYPE_I18N,
    TYPE_TIME,    TYPE_INT32Z,   TYPE_BOOLEANZ,
    TYPE_UINT32Z, TYPE_INT64Z,   TYPE_I18NFORMATSTRING,
    TYPE_UINT64Z, TYPE_STRZ,     TYPE_WSTRZ,
    TYPE_GUIDZ,   TYPE_PROPSETZ, TYPE_KTOBJIDZ,
    TYPE_I18NZ,   TYPE_TIMEZ,    TYPE_I18NFORMATSTRINGZ};

}  // namespace kt::fuzz
