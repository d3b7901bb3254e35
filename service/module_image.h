// What a file of machine code says of itself in its header: whether it is a shared library that
// this program could load. Asked before the system's loader is, which runs code of the file as soon
// as it takes it, and which does not survive every file that was cut off.
//
// Both formats are understood on both systems, so that the words fit.
//
// Threads: functions without state.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

namespace ktsvc {

// The bytes of a file.
struct ImageSource {
  std::uint64_t size = 0;

  // Copies `count` bytes from `at` on; false when they are not there.
  std::function<bool(std::uint64_t at, void* to, std::size_t count)> read;
};

enum class ImageFormat : std::uint8_t { kElf, kPe };

struct ImageKind {
  ImageFormat format = ImageFormat::kElf;
  std::uint16_t machine = 0;  // the format's own number of the processor
  unsigned bits = 0;          // 32 or 64
  bool bigEndian = false;

  friend bool operator==(const ImageKind&, const ImageKind&) = default;
};

// Nothing when the header is neither format's, or not whole.
std::optional<ImageKind> KindOf(const ImageSource& file);

// Of the running program. Throws std::runtime_error when its file cannot be read.
ImageKind ProgramKind();

// Throws ModuleError: a file for another system or processor, something else than a shared library,
// a part of one.
void RequireLoadable(const ImageSource& file, const ImageKind& program);

}  // namespace ktsvc
