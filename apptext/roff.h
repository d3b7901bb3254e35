// Roff: a page in the man(7) macros, written so that the text of a help comes out as it stands.
//
// Bytes that are no UTF-8 become U+FFFD; characters beyond ASCII become roff's names for them, so
// that the page is plain ASCII whatever reads it.
//
// Threads: one thread each.
#pragma once

#include <string>
#include <string_view>

namespace apptext {

// The text with everything that roff would take for something else escaped. A line feed stays one.
std::string RoffText(std::string_view text);

class Roff {
 public:
  // ".NAME "argument" ...": a macro and its arguments, which are text.
  template <typename... Arguments>
  void Macro(std::string_view name, const Arguments&... arguments) {
    page_ += '.';
    page_ += name;
    (Argument(arguments), ...);
    page_ += '\n';
  }

  // One line of text that has been escaped already, fonts and all.
  void Line(std::string_view escaped);

  // Sentences: lines at the margin run together, a blank line begins a paragraph, and lines that
  // are indented stay as they are.
  void Prose(const std::string& text);

  [[nodiscard]] const std::string& page() const noexcept { return page_; }

 private:
  // The words of one line, on as many lines as a page's source should have for them.
  void Wrapped(const std::string& line);

  void Argument(std::string_view text);

  std::string page_;
};

}  // namespace apptext
