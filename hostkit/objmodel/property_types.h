// The property type codes with the short names that the framework's type table gives them, in the
// order of that table. A reference list: nothing in the module looks a code up in it.
#pragma once

#include <array>
#include <cstdint>

#include "ktbus3/ktbus3.h"

namespace kt {

// A list type is its scalar code with this bit set.
inline constexpr std::uint32_t kListBit = 0x80000000u;

struct PropertyTypeName {
  std::uint32_t code;
  const char* name;
};

inline constexpr std::array kPropertyTypeNames{
    PropertyTypeName{0, "UNKNOWN"},
    PropertyTypeName{TYPE_BOOLEAN, "BOOLEAN"},
    PropertyTypeName{TYPE_INT32, "INT32"},
    PropertyTypeName{TYPE_UINT32, "UINT32"},
    PropertyTypeName{TYPE_INT64, "INT64"},
    PropertyTypeName{TYPE_UINT64, "UINT64"},
    PropertyTypeName{TYPE_STR, "STR"},
    PropertyTypeName{TYPE_WSTR, "WSTR"},
    PropertyTypeName{TYPE_BINARY, "PBYTE"},
    PropertyTypeName{TYPE_GUID, "GUID"},
    PropertyTypeName{TYPE_PROPSET, "PROPSET"},
    PropertyTypeName{TYPE_KTOBJID, "KTOBJID"},
    PropertyTypeName{14, "DATABASE"},
    PropertyTypeName{TYPE_I18N, "I18N"},
    PropertyTypeName{TYPE_I18NFORMATSTRING, "I18NFORMATSTRING"},
    PropertyTypeName{TYPE_TIME, "TIME"},
    PropertyTypeName{TYPE_BOOLEANZ, "BOOLEANZ"},
    PropertyTypeName{TYPE_INT32Z, "INT32Z"},
    PropertyTypeName{TYPE_UINT32Z, "UINT32Z"},
    PropertyTypeName{TYPE_INT64Z, "INT64Z"},
    PropertyTypeName{TYPE_UINT64Z, "UINT64Z"},
    PropertyTypeName{TYPE_STRZ, "STRZ"},
    PropertyTypeName{TYPE_WSTRZ, "WSTRZ"},
    PropertyTypeName{TYPE_GUIDZ, "GUIDZ"},
    PropertyTypeName{TYPE_PROPSETZ, "PROPSETZ"},
    PropertyTypeName{TYPE_KTOBJIDZ, "KTOBJIDZ"},
    PropertyTypeName{TYPE_I18NZ, "I18NZ"},
    PropertyTypeName{TYPE_I18NFORMATSTRINGZ, "I18NFORMATSTRINGZ"},
    PropertyTypeName{TYPE_TIMEZ, "TIMEZ"},
};

}  // namespace kt
