#include "painter.h"

namespace ktctl {
namespace {

const char* BeginOf(Style style) {
  switch (style) {
    case Style::kHeading:
      return "\x1b[1m";
    case Style::kName:
      return "\x1b[36m";
    case Style::kGood:
      return "\x1b[32m";
    case Style::kBad:
      return "\x1b[31m";
    case Style::kFaint:
      return "\x1b[2m";
    default:
      return "";
  }
}

}  // namespace

std::string Painter::Paint(Style style, const std::string& text) const {
  if (!colours_ || style == Style::kPlain || text.empty()) {
    return text;
  }
  return BeginOf(style) + text + "\x1b[0m";
}

}  // namespace ktctl
