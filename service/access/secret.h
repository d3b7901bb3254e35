// Secret: a text that must show up nowhere.
//
// It cannot be printed or copied, it compares in a time that says nothing of its content, and its
// memory is overwritten when it goes.
//
// Threads: const members from any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace ktsvc::access {

class Secret {
 public:
  explicit Secret(std::string_view text);
  ~Secret();
  Secret(Secret&& other) noexcept;
  Secret& operator=(Secret&& other) noexcept;
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  // True when the text is the secret. The time depends on the length of `text` alone: neither on
  // where the two begin to differ, nor on the secret's length.
  [[nodiscard]] bool Equals(std::string_view text) const noexcept;

 private:
  void Wipe() noexcept;

  std::unique_ptr<char[]> text_;
  std::size_t size_;
};

// Overwrites the text in a way that is not optimised away, and empties it.
void Wipe(std::string& text) noexcept;

}  // namespace ktsvc::access
