// The text of every kind of value, as traces and the text form of a property show it.
//
// Failure: std::bad_alloc. Where the framework has no memory for a converted text, see base/text.h.
#pragma once

#include <cstdint>
#include <string>

#include "base/text.h"
#include "ktbus3/ktbus3.h"
#include "objmodel/i18n.h"

namespace kt {

// Numbers in decimal; a time is its number, a boolean "true" or "false", a GUID and an object id
// "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", a wide text the same text made narrow.
[[nodiscard]] std::string ValueText(std::uint32_t value);
[[nodiscard]] std::string ValueText(std::int32_t value);
[[nodiscard]] std::string ValueText(std::uint64_t value);
[[nodiscard]] std::string ValueText(std::int64_t value);
[[nodiscard]] std::string ValueText(cuvo_bool value);
[[nodiscard]] std::string ValueText(const KtTime& value);
[[nodiscard]] std::string ValueText(const KtGuid& value);
[[nodiscard]] std::string ValueText(const KtObjId& value);
[[nodiscard]] std::string ValueText(const std::string& value);
[[nodiscard]] std::string ValueText(const KtWString& value);

// messageId=7, name="text", catalog={...}
[[nodiscard]] std::string ValueText(const KtI18NDef& value);
[[nodiscard]] std::string ValueText(const CKtI18N& value);

// Two lower-case hexadecimal digits for each of `length` bytes, nothing between them; a null block
// or a length of 0 gives the empty text.
[[nodiscard]] std::string BytesText(const void* data, std::uint32_t length);

}  // namespace kt
