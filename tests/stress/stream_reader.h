// StreamReader: reads a stream of all topics and keeps the books of it: since every message has a
// number and every gap says how many are missing, each number must follow from what came before.
//
// Threads: one at a time.
// Failure: what does not add up is kept as a sentence.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace stress {

class StreamReader {
 public:
  // The next bytes of the body.
  void Take(std::string_view bytes);

  [[nodiscard]] std::uint64_t messages() const noexcept { return messages_; }
  [[nodiscard]] std::uint64_t gaps() const noexcept { return gaps_; }
  [[nodiscard]] std::uint64_t lost() const noexcept { return lost_; }

  // The first thing that did not add up; "" when all did.
  [[nodiscard]] const std::string& fault() const noexcept { return fault_; }

  // True once an event of this name has come.
  [[nodiscard]] bool Ended() const noexcept { return ended_; }
  static constexpr const char* kEnd = "event.stress.end";

 private:
  void TakeBlock(std::string_view block);
  void TakeGap(std::string_view data);
  void TakeMessage(std::uint64_t id, std::string_view data);

  std::string rest_;  // of a block that is not whole yet
  std::optional<std::uint64_t> last_;
  std::uint64_t missing_ = 0;  // told of since the last message
  std::uint64_t messages_ = 0;
  std::uint64_t gaps_ = 0;
  std::uint64_t lost_ = 0;
  bool ended_ = false;
  std::string fault_;
};

}  // namespace stress
