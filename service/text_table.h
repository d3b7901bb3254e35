// TextTable: rows whose columns line up.
//
// Threads: a plain value.
#pragma once

#include <string>
#include <vector>

namespace ktsvc {

class TextTable {
 public:
  void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  [[nodiscard]] bool empty() const noexcept { return rows_.empty(); }

  // One line for each row, `indent` in front of it, two blanks between columns, no blanks at the
  // end. The width of a column is that of its longest text, counted in characters of UTF-8.
  [[nodiscard]] std::vector<std::string> Lines(const std::string& indent) const;

  // The lines as one text, each with its line end.
  [[nodiscard]] std::string Text(const std::string& indent) const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace ktsvc
