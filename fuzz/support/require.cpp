#include "support/require.h"

#include <cstdio>
#include <cstdlib>

namespace kt::fuzz {
namespace {

std::string Shown(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string shown = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7F && c != '"' && c != '\\') {
      shown += c;
    } else {
      shown += "\\x";
      shown += kDigits[byte >> 4U];
      shown += kDigits[byte & 0xFU];
    }
  }
  return shown + '"';
}

}  // namespace

void Finding(std::string_view rule, std::string_view details) {
  std::string line = "FINDING: ";
  line.append(rule).append("\n").append(details);
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
  static_cast<void>(std::fflush(stderr));
  std::abort();
}

void Require(bool holds, std::string_view rule) {
  if (!holds) Finding(rule);
}

void RequireSame(std::string_view expected, std::string_view found, std::string_view rule) {
  if (expected == found) return;
  Finding(rule, "  expected " + Shown(expected) + "\n  found    " + Shown(found) + "\n");
}

}  // namespace kt::fuzz
