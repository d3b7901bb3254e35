// The system object: the type "qelm_system", its one object, and the interfaces attached to it.
#pragma once

#include <array>

#include "ktbus3/ktbus3.h"
#include "system/identifiers.h"

namespace kt {

// In the order in which they are attached.
inline constexpr std::array kSystemObjectInterfaces{kSystemInterface, kRebootInterface,
                                                    kTraceInterface};

// Registers a type of this provider: superclass "qelm_ktvm", type property "VENDOR" = "TORMELD". A
// type that exists is no failure; any other failure is traced and thrown as a status.
void RegisterSystemType(const char* type_name);

// Creates the object and attaches its interfaces. Never fails to its caller: what goes wrong is
// logged, and the closing line of success is written all the same. When the creation failed, the
// attachments are tried on the null id, as they stand.
void CreateSystemObject();

}  // namespace kt
