// PageCursors: where the pages ended that were handed out, so that a list goes on at its place even
// when the object at the end of a page has gone meanwhile.
//
// Threads: any member from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

#include "ktbus3/ktbus3.h"

namespace ktsvc::api {

// So many ends of pages are remembered, the latest ones.
inline constexpr std::size_t kMaxPageCursors = 4096;

class PageCursors {
 public:
  // A page ended with this object, which has this place in the order of creation.
  void Remember(const KtObjId& id, std::uint64_t sequence);

  // Its place; nothing when no page that is remembered ended with it.
  [[nodiscard]] std::optional<std::uint64_t> Find(const KtObjId& id) const;

 private:
  struct End {
    KtObjId id;
    std::uint64_t sequence;
  };

  mutable std::mutex mutex_;
  std::deque<End> ends_;
};

}  // namespace ktsvc::api
