// RecordingWriter and RecordingReader: a recording as a file.
//
// A file is a head and blocks of items, each with its length and a checksum. A block is handed to
// the operating system as a whole, so that a program that crashes, or a disk that is full, leaves a
// file that can be read up to its last whole block.
//
// Threads: one thread for one object.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "replay/codec.h"
#include "replay/own_file.h"
#include "replay/recording.h"

namespace ktreplay {

// No block is longer than this; a reader refuses a longer one.
inline constexpr std::uint32_t kLongestBlock = 8U << 20U;

class RecordingWriter {
 public:
  // Makes the file anew (replay/own_file.h). Throws std::runtime_error with the reason.
  RecordingWriter(const std::filesystem::path& file, const RecordingInfo& info);

  // Takes the item into the block that is being filled. Throws std::runtime_error when a full block
  // cannot be written, or the item fits into none; nothing can be written after that.
  void Put(const Item& item);

  // Writes what there is. Throws as Put().
  void Flush();

  // Writes the end, which says that nothing is missing. Throws as Put().
  void End();

  [[nodiscard]] std::uint64_t items() const noexcept { return items_; }
  [[nodiscard]] std::uint64_t bytes() const noexcept { return bytes_; }

 private:
  void Write(const std::string& bytes);

  OwnFile file_;
  Encoder encoder_;
  std::uint64_t items_ = 0;
  std::uint64_t bytes_ = 0;
};

class RecordingReader {
 public:
  // Opens the file and reads its head. Throws std::runtime_error when it cannot be read, and
  // MalformedRecording when it is none or one of another version.
  explicit RecordingReader(const std::filesystem::path& file);

  [[nodiscard]] const RecordingInfo& info() const noexcept { return info_; }

  // The next item; false at the end of what can be read, when incomplete() says whether that is the
  // end of the recording. Throws MalformedRecording for a block that is whole and yet makes no
  // sense.
  bool Next(Item& item);

  // Why the recording has no end: cut off or damaged, and where. Empty when it is complete.
  [[nodiscard]] const std::string& incomplete() const noexcept { return incomplete_; }

 private:
  bool NextBlock();

  std::ifstream file_;
  RecordingInfo info_;
  Decoder decoder_;
  std::string block_;
  std::string incomplete_;
  std::uint64_t offset_ = 0;  // of the block, in the file
  std::uint64_t items_ = 0;
  bool ended_ = false;
};

}  // namespace ktreplay
