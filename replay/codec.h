// Encoder and Decoder: items as bytes and back (docs/recording.md has the form).
//
// The decoder trusts nothing: every length is checked against the bytes that are there before
// anything is made of it.
//
// Threads: one thread for one object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "replay/recording.h"

namespace ktreplay {

// Bytes that are no recording: what is wrong with them.
class MalformedRecording : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Short texts are written once, and by a number from then on: up to this many of at most this
// length.
inline constexpr std::size_t kMostNames = 65536;
inline constexpr std::size_t kLongestName = 256;

// Property sets stand at most this deep one in the other.
inline constexpr int kDeepest = 64;

class Encoder {
 public:
  void Put(const Item& item);
  void Put(const RecordingInfo& info);
  void PutEnd(std::uint64_t items);

  // What was put in since the last call.
  std::string Take();
  [[nodiscard]] std::size_t size() const noexcept { return bytes_.size(); }

 private:
  void Byte(std::uint8_t byte) { bytes_ += static_cast<char>(byte); }
  void Number(std::uint64_t number);
  void Bytes(std::string_view bytes);
  void Name(std::string_view name);
  void Guid(const KtGuid& guid);
  void Put(const Value& value);
  void Put(const ktsvc::PropertyList& list);
  void Put(const ktsvc::Element& element);
  void Put(const ktsvc::Message& message);

  std::string bytes_;
  std::map<std::string, std::uint64_t, std::less<>> names_;
  std::uint64_t time_ = 0;
};

// What the next element of the bytes is.
enum class Next { kItem, kEnd, kNothing };

// Reads the elements of one block of bytes after the other.
class Decoder {
 public:
  // The head; throws as below.
  RecordingInfo Info(std::string_view bytes);

  // The block that is read from now on. It must live until the next one.
  void Use(std::string_view bytes) noexcept { rest_ = bytes; }

  // Reads the next element; `item` is filled when it is one, `items` when it is the end. Throws
  // MalformedRecording.
  Next Read(Item& item, std::uint64_t& items);

 private:
  std::uint8_t Byte();
  std::uint64_t Number();
  std::uint32_t Number32();
  std::size_t Count();
  std::string_view Bytes();
  std::string Name();
  KtGuid Guid();
  Value ReadValue();
  ktsvc::PropertyList ReadList(int depth);
  ktsvc::Element ReadElement(int depth);
  ktsvc::Message ReadMessage();

  std::string_view rest_;
  std::vector<std::string> names_;
  std::uint64_t time_ = 0;
};

// Equal bytes: the two lists hold the same.
bool SameProperties(const ktsvc::PropertyList& left, const ktsvc::PropertyList& right);

}  // namespace ktreplay
