#include "ktcheck/walk_options.h"

#include <charconv>
#include <system_error>

namespace ktcheck {

std::optional<std::vector<CodeRange>> RangesOf(const std::string& text) {
  std::vector<CodeRange> ranges;
  const char* at = text.data();
  const char* const end = at + text.size();
  for (;;) {
    CodeRange range;
    auto read = std::from_chars(at, end, range.first);
    if (read.ec != std::errc()) return std::nullopt;
    range.last = range.first;
    range.alone = read.ptr == end || *read.ptr != '-';
    if (read.ptr != end && *read.ptr == '-') {
      read = std::from_chars(read.ptr + 1, end, range.last);
      if (read.ec != std::errc() || range.last < range.first) return std::nullopt;
    }
    ranges.push_back(range);
    if (read.ptr == end) return ranges;
    if (*read.ptr != ',') return std::nullopt;
    at = read.ptr + 1;
  }
}

}  // namespace ktcheck
