// Things: small numbers for handles, blocks and locks, which stay with them while they live.
//
// The system gives an address again to the next block; the number is new then.
//
// Threads: everything from any thread.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <utility>

namespace ktreplay {

enum class Space : std::uint8_t { kDatabase, kProvider, kPropset, kIterator, kBlock, kLock };

class Things {
 public:
  // The number of the thing; the next one of its space where it is not known. 0 for null.
  std::uint64_t Of(Space space, std::uint64_t word);

  // The number of a thing that has just been made, whatever stood there before. 0 for null.
  std::uint64_t Made(Space space, std::uint64_t word);

  // The number of a thing that is known, else 0.
  std::uint64_t Known(Space space, std::uint64_t word) const;

  // Forgets the thing, unless another has taken its place.
  void Gone(Space space, std::uint64_t word, std::uint64_t number);

 private:
  std::uint64_t NextLocked(Space space);

  mutable std::mutex mutex_;
  std::map<std::pair<Space, std::uint64_t>, std::uint64_t> numbers_;
  std::map<Space, std::uint64_t> last_;
};

}  // namespace ktreplay
