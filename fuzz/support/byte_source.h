// ByteSource deals out the bytes of one fuzz input from its first to its last, as numbers, choices
// and texts.
//
// Front to back, so that an input can be written by hand and still means the same when something is
// put behind it. When the bytes are used up everything is zero, false and empty: an input that was
// cut off is an input like any other.
//
// Threads:   one.
// Ownership: the bytes are lent and must outlive the source.
// Failure:   none but std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "ktbus3/ktbus3.h"

namespace kt::fuzz {

class ByteSource {
 public:
  ByteSource(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  [[nodiscard]] bool Empty() const noexcept { return rest_.empty(); }

  std::uint8_t Byte();

  // Low byte first.
  std::uint16_t Number16();
  std::uint32_t Number32();
  std::uint64_t Number64();

  // 0 to `bound` - 1, from one byte. `bound` is 1 to 256.
  std::size_t Below(std::size_t bound);
  bool Flag() { return (Byte() & 1U) != 0; }

  // One byte with the length, then as many bytes; of wide text units, low byte first.
  std::string Text();
  std::basic_string<KtWchar> WideText();

  // The same up to its first zero, since that is where the bus ends a text.
  std::string TextWithoutZero();
  std::basic_string<KtWchar> WideTextWithoutZero();

  KtGuid Guid();

  // All that is left.
  std::string Rest();

 private:
  std::string_view rest_;
};

// The whole input as text.
inline std::string TextOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace kt::fuzz
