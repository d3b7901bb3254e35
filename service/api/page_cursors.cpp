#include "api/page_cursors.h"

#include <algorithm>

#include "guid.h"

namespace ktsvc::api {

void PageCursors::Remember(const KtObjId& id, std::uint64_t sequence) {
  const std::lock_guard guard(mutex_);
  const auto found = std::find_if(ends_.begin(), ends_.end(),
                                  [&id](const End& end) { return SameGuid(end.id.guid, id.guid); });
  if (found != ends_.end()) {
    ends_.erase(found);
  }
  ends_.push_back({id, sequence});
  if (ends_.size() > kMaxPageCursors) {
    ends_.pop_front();
  }
}

std::optional<std::uint64_t> PageCursors::Find(const KtObjId& id) const {
  const std::lock_guard guard(mutex_);
  const auto found = std::find_if(ends_.begin(), ends_.end(),
                                  [&id](const End& end) { return SameGuid(end.id.guid, id.guid); });
  return found == ends_.end() ? std::nullopt : std::optional(found->sequence);
}

}  // namespace ktsvc::api
