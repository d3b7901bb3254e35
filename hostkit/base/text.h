// Wide text is UTF-16 everywhere; narrow text is UTF-8. The framework converts.
#pragma once

#include <string>
#include <string_view>

#include "ktbus3/ktbus3.h"

using KtWString = std::basic_string<KtWchar>;

namespace kt {

// Wide to narrow and back through the framework's Ktwcstombs and Ktmbstowcs: measured, converted in
// a _KtAlloc buffer, copied, buffer freed. An empty or a malformed input gives the empty text. No
// memory for the buffer throws E_OUTOFMEMORY after one trace line. The pointer forms read up to
// the terminating zero and take null as empty.
[[nodiscard]] std::string Narrow(const KtWchar* text);
[[nodiscard]] std::string Narrow(const KtWString& text);
[[nodiscard]] KtWString Widen(const char* text);
[[nodiscard]] KtWString Widen(const std::string& text);

// "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", by the framework's KtGUIDToString, whose buffer is
// freed. Where the framework has no memory for the text, the result is empty.
[[nodiscard]] std::string GuidText(const KtGuid& guid);

}  // namespace kt
