#include "replay/recording_file.h"

#include <array>
#include <boost/crc.hpp>
#include <cerrno>
#include <system_error>

namespace ktreplay {
namespace {

constexpr std::string_view kMagic = "KTREC\r\n\x1A";
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kBlockHead = 8;
constexpr std::size_t kFullBlock = 64U << 10U;

std::uint32_t ChecksumOf(std::string_view bytes) {
  boost::crc_32_type crc;
  crc.process_bytes(bytes.data(), bytes.size());
  return crc.checksum();
}

void Append32(std::string& out, std::uint32_t number) {
  for (unsigned shift = 0; shift < 32; shift += 8) {
    out += static_cast<char>((number >> shift) & 0xFFU);
  }
}

std::uint32_t Read32(const char* bytes) {
  std::uint32_t number = 0;
  for (unsigned i = 0; i < 4; ++i) {
    number |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  }
  return number;
}

std::string Block(const std::string& payload) {
  std::string block;
  block.reserve(payload.size() + kBlockHead);
  Append32(block, static_cast<std::uint32_t>(payload.size()));
  Append32(block, ChecksumOf(payload));
  return block + payload;
}

std::string Reason() {
  return errno == 0 ? "the system does not say why" : std::generic_category().message(errno);
}

}  // namespace

// ---- Writing ---------------------------------------------------------------------------------

// A recording holds what providers were told, which is not for everybody's eyes.
RecordingWriter::RecordingWriter(const std::filesystem::path& file, const RecordingInfo& info)
    : file_(MakeOwnFile(file)) {
  std::string head(kMagic);
  Append32(head, kVersion);
  Write(head);
  encoder_.Put(info);
  Flush();
}

void RecordingWriter::Put(const Item& item) {
  encoder_.Put(item);
  ++items_;
  if (encoder_.size() >= kFullBlock) {
    Flush();
  }
}

void RecordingWriter::Flush() {
  if (encoder_.size() > kLongestBlock) {
    throw std::runtime_error("a call carries more than " + std::to_string(kLongestBlock >> 20U) +
                             " MB");
  }
  if (encoder_.size() != 0) {
    Write(Block(encoder_.Take()));
  }
}

void RecordingWriter::End() {
  encoder_.PutEnd(items_);
  Flush();
}

void RecordingWriter::Write(const std::string& bytes) {
  errno = 0;
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size() ||
      std::fflush(file_.get()) != 0) {
    throw std::runtime_error("it cannot be written: " + Reason());
  }
  bytes_ += bytes.size();
}

// ---- Reading ---------------------------------------------------------------------------------

RecordingReader::RecordingReader(const std::filesystem::path& file) {
  errno = 0;
  file_.open(file, std::ios::binary);
  std::array<char, kMagic.size() + 4> head{};
  if (!file_) {
    throw std::runtime_error("it cannot be opened: " + Reason());
  }
  if (!file_.read(head.data(), head.size()) ||
      std::string_view(head.data(), kMagic.size()) != kMagic) {
    throw MalformedRecording("it is no recording");
  }
  const std::uint32_t version = Read32(head.data() + kMagic.size());
  if (version != kVersion) {
    throw MalformedRecording("it is a recording of version " + std::to_string(version) +
                             "; this program reads version " + std::to_string(kVersion));
  }
  offset_ = head.size();
  if (!NextBlock()) {
    throw MalformedRecording("its head is damaged: " + incomplete_);
  }
  info_ = decoder_.Info(block_);
  block_.clear();
  decoder_.Use(block_);
}

bool RecordingReader::NextBlock() {
  const std::string where = " at byte " + std::to_string(offset_);
  std::array<char, kBlockHead> head{};
  file_.read(head.data(), head.size());
  if (file_.gcount() != static_cast<std::streamsize>(head.size())) {
    incomplete_ = "it ends without an end" + where;
    return false;
  }
  const std::uint32_t size = Read32(head.data());
  if (size > kLongestBlock) {
    incomplete_ = "it is damaged" + where + ": a block of " + std::to_string(size) + " bytes";
    return false;
  }
  // In pieces, so that a length that lies takes no memory that the file does not fill.
  block_.clear();
  while (block_.size() < size) {
    std::array<char, 4096> piece{};
    const std::size_t wanted = std::min<std::size_t>(piece.size(), size - block_.size());
    file_.read(piece.data(), static_cast<std::streamsize>(wanted));
    block_.append(piece.data(), static_cast<std::size_t>(file_.gcount()));
    if (file_.gcount() != static_cast<std::streamsize>(wanted)) {
      incomplete_ = "it is cut off in the block" + where;
      return false;
    }
  }
  if (ChecksumOf(block_) != Read32(head.data() + 4)) {
    incomplete_ = "it is damaged in the block" + where + ": its checksum does not fit";
    return false;
  }
  offset_ += kBlockHead + size;
  return true;
}

bool RecordingReader::Next(Item& item) {
  while (!ended_) {
    std::uint64_t items = 0;
    switch (decoder_.Read(item, items)) {
      case ktreplay::Next::kItem:
        item.number = ++items_;
        return true;
      case ktreplay::Next::kEnd:
        ended_ = true;
        if (items != items_) {
          throw MalformedRecording("it ends after " + std::to_string(items_) + " items and says " +
                                   std::to_string(items));
        }
        break;
      case ktreplay::Next::kNothing:
        if (!NextBlock()) {
          ended_ = true;
          return false;
        }
        decoder_.Use(block_);
        break;
    }
  }
  return false;
}

}  // namespace ktreplay
