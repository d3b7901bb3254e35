#include "access/secret.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace ktsvc::access {
namespace {

void Overwrite(char* text, std::size_t size) noexcept {
  volatile char* const at = text;
  for (std::size_t i = 0; i < size; ++i) {
    at[i] = 0;
  }
}

}  // namespace

Secret::Secret(std::string_view text)
    : text_(std::make_unique<char[]>(text.size())), size_(text.size()) {
  std::copy(text.begin(), text.end(), text_.get());
}

Secret::~Secret() {
  Wipe();
}

Secret::Secret(Secret&& other) noexcept
    : text_(std::move(other.text_)), size_(std::exchange(other.size_, 0)) {}

Secret& Secret::operator=(Secret&& other) noexcept {
  if (this != &other) {
    Wipe();
    text_ = std::move(other.text_);
    size_ = std::exchange(other.size_, 0);
  }
  return *this;
}

void Secret::Wipe() noexcept {
  if (text_ != nullptr) {
    Overwrite(text_.get(), size_);
  }
}

bool Secret::Equals(std::string_view text) const noexcept {
  if (size_ == 0) {
    return text.empty();
  }
  // Volatile: the compiler must not find out that the answer is known before the end.
  volatile std::uint32_t difference = size_ == text.size() ? 0U : 1U;
  std::size_t at = 0;
  for (const char unit : text) {
    const auto apart = static_cast<unsigned char>(unit ^ text_[at]);
    difference = difference | apart;
    // Starts over where the secret is the shorter one; a comparison would tell its length.
    at = (at + 1) % size_;
  }
  return difference == 0;
}

void Wipe(std::string& text) noexcept {
  Overwrite(text.data(), text.size());
  text.clear();
}

}  // namespace ktsvc::access
