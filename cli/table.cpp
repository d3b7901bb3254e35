#include "table.h"

#include <algorithm>
#include <numeric>

#include "display_text.h"

namespace ktctl {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 8;

std::string_view MarkFor(const Screen& screen) {
  return screen.utf8 ? "\xE2\x80\xA6" : "...";
}

}  // namespace

std::vector<std::size_t> Table::Widths(const Screen& screen, std::size_t indent) const {
  std::vector<std::size_t> widths;
  widths.reserve(columns_.size());
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    std::size_t width = DisplayWidth(columns_[i].heading);
    for (const auto& row : rows_) {
      width = std::max(width, i < row.size() ? DisplayWidth(row[i].text) : 0);
    }
    widths.push_back(width);
  }
  if (!screen.terminal || !screen.width || widths.empty()) {
    return widths;
  }
  const auto total = [&] {
    return std::accumulate(widths.begin(), widths.end(), indent + kGap * (widths.size() - 1));
  };
  while (total() > *screen.width) {
    // The widest column gives way, down to the next widest or as far as is needed.
    std::size_t widest = widths.size();
    std::size_t next = kNarrowest;
    for (std::size_t i = 0; i < widths.size(); ++i) {
      if (columns_[i].kind != Column::Kind::kCut) {
        continue;
      }
      if (widest == widths.size() || widths[i] > widths[widest]) {
        next = std::max(next, widest == widths.size() ? 0 : widths[widest]);
        widest = i;
      } else {
        next = std::max(next, widths[i]);
      }
    }
    if (widest == widths.size() || widths[widest] <= kNarrowest) {
      return widths;
    }
    const std::size_t excess = total() - *screen.width;
    const std::size_t step =
        std::max<std::size_t>(widths[widest] - std::min(next, widths[widest]), 1);
    widths[widest] -= std::min(excess, step);
  }
  return widths;
}

std::string Table::Line(const std::vector<Cell>& row, const std::vector<std::size_t>& widths,
                        const Screen& screen, std::size_t indent) const {
  const Painter painter(screen.colours);
  std::string line;
  std::size_t pending = indent;  // blanks that are written when something follows
  for (std::size_t i = 0; i < row.size() && i < widths.size(); ++i) {
    const std::string text = CutToWidth(row[i].text, widths[i], MarkFor(screen));
    const std::size_t rest = widths[i] - DisplayWidth(text);
    const bool number = columns_[i].kind == Column::Kind::kNumber;
    if (!text.empty()) {
      line.append(pending + (number ? rest : 0), ' ');
      line += painter.Paint(row[i].style, text);
      pending = number ? 0 : rest;
    } else {
      pending += widths[i];
    }
    pending += kGap;
  }
  return line + "\n";
}

std::string Table::Text(const Screen& screen, std::size_t indent) const {
  const std::vector<std::size_t> widths = Widths(screen, indent);
  std::string text;
  if (std::any_of(columns_.begin(), columns_.end(),
                  [](const Column& column) { return !column.heading.empty(); })) {
    std::vector<Cell> headings;
    for (const Column& column : columns_) {
      headings.emplace_back(column.heading, Style::kHeading);
    }
    text += Line(headings, widths, screen, indent);
  }
  for (const auto& row : rows_) {
    text += Line(row, widths, screen, indent);
  }
  return text;
}

}  // namespace ktctl
