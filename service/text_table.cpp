#include "text_table.h"

#include <algorithm>

namespace ktsvc {
namespace {

// Characters, not bytes: those that continue a character are not counted.
std::size_t Width(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
  }));
}

}  // namespace

std::vector<std::string> TextTable::Lines(const std::string& indent) const {
  std::vector<std::size_t> widths;
  for (const auto& row : rows_) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], Width(row[i]));
    }
  }
  std::vector<std::string> lines;
  for (const auto& row : rows_) {
    std::string line = indent;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      line.append(widths[i] - Width(row[i]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    lines.push_back(line);
  }
  return lines;
}

std::string TextTable::Text(const std::string& indent) const {
  std::string text;
  for (const std::string& line : Lines(indent)) {
    text += line + "\n";
  }
  return text;
}

}  // namespace ktsvc
