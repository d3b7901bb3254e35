// Which handler stands under which control path.
//
// Two structures for one content. An ordered map holds the paths, by plain byte comparison: it is
// what is walked where the order counts, and its texts stay where they are. Beside it stands a hash
// of those texts, since each control looks one up: in the map that is a comparison of texts, and a
// line of memory that is in no cache, for each doubling of the number of handlers.
//
// Threads:   none of its own; the control manager's path-map lock is around it.
// Ownership: owns the paths and no handler. A handler that has gone counts as absent, though its
//            path may still stand here.
// Failure:   Put() alone needs memory.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "dispatch/control_map_entry.h"

namespace kt {

class ControlPathMap {
 public:
  // The handler under the path, or null.
  [[nodiscard]] std::shared_ptr<CKtControlMapEntry> Find(std::string_view path) const noexcept;

  // Puts a handler under the path, in the place of one that has gone. Throws std::bad_alloc; the
  // map is then unchanged.
  void Put(std::string_view path, const std::shared_ptr<CKtControlMapEntry>& handler);

  // Drops the path. Returns whether a handler stood under it that had not gone.
  bool Erase(std::string_view path) noexcept;

  // Drops the first path, in their order, whose handler has not gone and is the one that `matches`
  // tells. Returns whether there was one. Needs no path, and hence no memory.
  template <typename Predicate>
  bool EraseFirst(const Predicate& matches) noexcept {
    for (auto place = paths_.begin(); place != paths_.end(); ++place) {
      const auto handler = place->second.lock();
      if (handler == nullptr || !matches(*handler)) continue;
      EraseAt(place);
      return true;
    }
    return false;
  }

 private:
  using Paths = std::map<std::string, std::weak_ptr<CKtControlMapEntry>, std::less<>>;

  void EraseAt(Paths::iterator place) noexcept;

  Paths paths_;
  std::unordered_map<std::string_view, Paths::iterator> index_;  // its keys are the texts of paths_
};

}  // namespace kt
