#include "support/printable.h"

#include <algorithm>

#include "support/plain_text.h"
#include "support/require.h"

namespace kt::fuzz {

void RequirePrintable(const std::string& text, const std::string& rule) {
  const Characters characters = FromUtf8(text);
  const bool controls = std::any_of(characters.list.begin(), characters.list.end(),
                                    [](char32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); });
  if (controls || characters.malformed) RequireSame("(printable text)", text, rule);
}

}  // namespace kt::fuzz
