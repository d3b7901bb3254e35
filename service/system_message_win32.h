// The words of Windows for its errors.
//
// Threads: any.
#pragma once

#include <cstdint>
#include <string>

namespace ktsvc {

// "The specified module could not be found (error 126)", in UTF-8 and in the system's language.
std::string SystemMessage(std::uint32_t error);

}  // namespace ktsvc
