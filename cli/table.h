// Table: rows under headings, whose columns line up.
//
// Where there is a width to keep to, the cells of the columns that may be cut are, the widest
// first, until a row fits or all of them are as narrow as is any use. Identifiers are never cut: a
// table that does not fit for their sake is wider than the screen.
//
// Threads: a plain value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "painter.h"
#include "screen.h"

namespace ktctl {

struct Cell {
  // A row is a braced list of texts, with a style where one is meant.
  // NOLINTNEXTLINE(google-explicit-constructor): see above
  Cell(std::string printable, Style meaning = Style::kPlain)
      : text(std::move(printable)), style(meaning) {}
  // NOLINTNEXTLINE(google-explicit-constructor): see above
  Cell(const char* printable) : text(printable) {}

  std::string text;  // printable UTF-8
  Style style = Style::kPlain;
};

struct Column {
  enum class Kind : std::uint8_t { kWhole, kCut, kNumber };
  std::string heading;
  Kind kind = Kind::kWhole;  // kCut: may be cut; kNumber: never cut, at the right
};

class Table {
 public:
  // Without any heading there is no line of headings.
  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  // As many cells as there are columns, or fewer.
  void Add(std::vector<Cell> row) { rows_.push_back(std::move(row)); }
  [[nodiscard]] bool empty() const noexcept { return rows_.empty(); }

  // One line for each row, `indent` blanks in front, two between columns, none at the end.
  [[nodiscard]] std::string Text(const Screen& screen, std::size_t indent = 0) const;

 private:
  [[nodiscard]] std::vector<std::size_t> Widths(const Screen& screen, std::size_t indent) const;
  [[nodiscard]] std::string Line(const std::vector<Cell>& row,
                                 const std::vector<std::size_t>& widths, const Screen& screen,
                                 std::size_t indent) const;

  std::vector<Column> columns_;
  std::vector<std::vector<Cell>> rows_;
};

}  // namespace ktctl
