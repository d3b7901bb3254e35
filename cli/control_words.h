// The words of a control: [OBJECT] INTERFACE CODE [ARGUMENT...].
//
// CODE is a number, decimal or hexadecimal after 0x, or the name of a known control of the
// interface (known_controls.h). Where that bears the interface's own name, CODE may be left out.
// OBJECT may be left out when the first word is an interface's name: the object is then looked for
// among those that offer it. Arguments are NAME:TYPE=VALUE, for a known control also as it knows
// them.
//
// Threads: pure functions.
// Failure: Refusal (kExitWrongWords).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "known_controls.h"
#include "ktbus3/ktbus3.h"
#include "property_json.h"

namespace ktctl {

struct ControlWish {
  std::string object;  // as it was named; "" when it was left out
  KtGuid interfaceId{};
  std::uint32_t selector = 0;
  std::uint32_t code = 0;
  const KnownControl* known = nullptr;  // null for a control that has no name
  Json input = Json::array();
};

// What the words ask for, where `selector` was given beside them.
ControlWish ReadControl(const std::vector<std::string>& words, std::uint32_t selector);

// The object to which a control goes that names none: the only one that offers the interface, or
// the only one among those that is the system's own object, or any where that makes no difference.
// `offering` are the objects that offer the interface. Returns the id.
std::string ChooseObject(const ControlWish& wish, const std::vector<Json>& offering);

}  // namespace ktctl
