#include "property_value.h"

#include <algorithm>
#include <array>

#include "status_text.h"

namespace ktsvc {
namespace {

struct TypeRow {
  std::uint32_t type;
  std::string_view name;
};

constexpr std::array kTypes{
    TypeRow{TYPE_BOOLEAN, "BOOLEAN"},
    TypeRow{TYPE_INT32, "INT32"},
    TypeRow{TYPE_UINT32, "UINT32"},
    TypeRow{TYPE_INT64, "INT64"},
    TypeRow{TYPE_UINT64, "UINT64"},
    TypeRow{TYPE_STR, "STR"},
    TypeRow{TYPE_WSTR, "WSTR"},
    TypeRow{TYPE_BINARY, "BINARY"},
    TypeRow{TYPE_GUID, "GUID"},
    TypeRow{TYPE_PROPSET, "PROPSET"},
    TypeRow{TYPE_KTOBJID, "KTOBJID"},
    TypeRow{TYPE_I18N, "I18N"},
    TypeRow{TYPE_I18NFORMATSTRING, "I18NFORMATSTRING"},
    TypeRow{TYPE_TIME, "TIME"},
    TypeRow{TYPE_BOOLEANZ, "BOOLEANZ"},
    TypeRow{TYPE_INT32Z, "INT32Z"},
    TypeRow{TYPE_UINT32Z, "UINT32Z"},
    TypeRow{TYPE_INT64Z, "INT64Z"},
    TypeRow{TYPE_UINT64Z, "UINT64Z"},
    TypeRow{TYPE_STRZ, "STRZ"},
    TypeRow{TYPE_WSTRZ, "WSTRZ"},
    TypeRow{TYPE_GUIDZ, "GUIDZ"},
    TypeRow{TYPE_PROPSETZ, "PROPSETZ"},
    TypeRow{TYPE_KTOBJIDZ, "KTOBJIDZ"},
    TypeRow{TYPE_I18NZ, "I18NZ"},
    TypeRow{TYPE_I18NFORMATSTRINGZ, "I18NFORMATSTRINGZ"},
    TypeRow{TYPE_TIMEZ, "TIMEZ"},
};

}  // namespace

BusError::BusError(std::string_view call, KtStatus status)
    : std::runtime_error(std::string(call) + " failed: " + StatusText(status)), status_(status) {}

void RequireOk(KtStatus status, std::string_view call) {
  if (StatusFails(status)) {
    throw BusError(call, status);
  }
}

std::string TypeName(std::uint32_t type) {
  const auto row = std::find_if(kTypes.begin(), kTypes.end(),
                                [type](const TypeRow& r) { return r.type == type; });
  return row == kTypes.end() ? StatusHex(type) : std::string(row->name);
}

std::optional<std::uint32_t> TypeFromName(std::string_view name) {
  const auto row = std::find_if(kTypes.begin(), kTypes.end(),
                                [name](const TypeRow& r) { return r.name == name; });
  return row == kTypes.end() ? std::nullopt : std::optional(row->type);
}

const Property* FindProperty(const PropertyList& list, std::string_view name) {
  const auto found = std::find_if(
      list.begin(), list.end(), [name](const Property& property) { return property.name == name; });
  return found == list.end() ? nullptr : &*found;
}

}  // namespace ktsvc
