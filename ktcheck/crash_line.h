// The line of a report that tells a crash, put together without allocating anything.
//
// Threads: a value.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ktcheck {

class CrashLine {
 public:
  explicit CrashLine(std::string_view what) {
    Add("\n{\"crash\":\"");
    Add(what);
    Add("\",\"stack\":[");
  }

  void AddFrame(std::string_view file, std::uintptr_t offset) {
    Add(first_ ? "\"" : ",\"");
    first_ = false;
    for (const char letter : file) {
      if (letter == '"' || letter == '\\') Add("\\");
      Add({&letter, 1});
    }
    Add("+0x");
    constexpr std::string_view kDigits = "0123456789abcdef";
    bool begun = false;
    for (int shift = 60; shift >= 0; shift -= 4) {
      const auto digit = static_cast<std::size_t>((offset >> static_cast<unsigned>(shift)) & 0xF);
      begun = begun || digit != 0 || shift == 0;
      if (begun) Add(kDigits.substr(digit, 1));
    }
    Add("\"");
  }

  // The whole line.
  std::string_view End() {
    Add("]}\n");
    return {text_.data(), size_};
  }

 private:
  // What does not fit is cut off, and with it the line is none.
  void Add(std::string_view text) {
    const std::size_t count = std::min(text.size(), text_.size() - size_);
    std::copy_n(text.data(), count, text_.data() + size_);
    size_ += count;
  }

  std::array<char, 16384> text_{};
  std::size_t size_ = 0;
  bool first_ = true;
};

}  // namespace ktcheck
