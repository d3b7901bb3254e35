// What a status says to a person: the names of the codes that the service and its providers use.
// The failure rule and the codes themselves are those of the toolkit (base/status.h).
//
// Threads: pure functions over a constant table.
#pragma once

#include <string>
#include <string_view>

#include "base/status.h"
#include "ktbus3/ktbus3.h"

namespace ktsvc {

using kt::StatusFails;

// "KTERROR_WRONG_PROVIDER"; empty for a code without a name.
std::string_view StatusName(KtStatus status) noexcept;

// "0xC1000005", always eight digits.
std::string StatusHex(KtStatus status);

// "0xC1000005 KTERROR_WRONG_PROVIDER (asked for a provider of another name)", as far as known.
std::string StatusText(KtStatus status);

}  // namespace ktsvc
