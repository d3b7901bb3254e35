// Property and PropertyList: the service's own copy of what a property set of the bus holds.
//
// A record of the bus is read once, nested sets included, and released at once; reports and answers
// are then made from values that belong to nobody else.
//
// Threads: plain values; reading is as safe as the bus calls below it.
// Failure: a bus call that fails throws BusError.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "bus_text.h"
#include "ktbus3/ktbus3.h"

namespace ktsvc {

// A call of the bus that failed: which, and with what status.
class BusError : public std::runtime_error {
 public:
  BusError(std::string_view call, KtStatus status);
  [[nodiscard]] KtStatus status() const noexcept { return status_; }

 private:
  KtStatus status_;
};

// Throws BusError when the status of that call fails.
void RequireOk(KtStatus status, std::string_view call);

struct Property;
using PropertyList = std::vector<Property>;

// A message definition: a text of a catalog, with its default wording.
struct Message {
  KtGuid catalog{};
  std::uint32_t id = 0;
  std::string name;
};

// A message and the values of its placeholders; no list when it carries no set at all.
struct FormatMessage {
  Message message;
  std::optional<PropertyList> insertions;
};

// One value. GUIDs and object ids are both KtGuid, times are uint64_t: the property's type tells
// them apart. monostate: no value, or a type that the service does not know.
using Element = std::variant<std::monostate, bool, std::int32_t, std::uint32_t, std::int64_t,
                             std::uint64_t, std::string, KtWString, std::vector<std::uint8_t>,
                             KtGuid, PropertyList, Message, FormatMessage>;

struct Property {
  std::string name;
  std::uint32_t type = 0;  // TYPE_...
  std::uint32_t flags = 0;
  // A list has its elements here, any other property one element.
  std::vector<Element> elements;
};

// True for the codes of list types.
constexpr bool IsListType(std::uint32_t type) noexcept {
  return (type & 0x80000000U) != 0;
}

// "UINT32", "STRZ" and so on: the constant's name without its prefix; "0x0000000E" for a code
// without a name.
std::string TypeName(std::uint32_t type);

// The type of that name; nothing for a name that is none.
std::optional<std::uint32_t> TypeFromName(std::string_view name);

// Copies what the record holds; the record stays the caller's.
Property ReadProperty(const cuvo_property& record);

// Copies all properties of the set, in its order. A null handle is an empty list.
PropertyList ReadPropertySet(KtPropset propset);

// The property of that name, or null.
const Property* FindProperty(const PropertyList& list, std::string_view name);

}  // namespace ktsvc
