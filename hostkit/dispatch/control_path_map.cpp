#include "dispatch/control_path_map.h"

namespace kt {

std::shared_ptr<CKtControlMapEntry> ControlPathMap::Find(std::string_view path) const noexcept {
  const auto found = index_.find(path);
  return found == index_.end() ? nullptr : found->second->second.lock();
}

void ControlPathMap::Put(std::string_view path,
                         const std::shared_ptr<CKtControlMapEntry>& handler) {
  const auto [place, fresh] = paths_.try_emplace(std::string(path));
  if (fresh) {
    try {
      index_.emplace(place->first, place);
    } catch (...) {
      paths_.erase(place);
      throw;
    }
  }
  place->second = handler;
}

bool ControlPathMap::Erase(std::string_view path) noexcept {
  const auto found = index_.find(path);
  if (found == index_.end()) return false;
  const Paths::iterator place = found->second;
  const bool stood = !place->second.expired();
  EraseAt(place);
  return stood;
}

void ControlPathMap::EraseAt(Paths::iterator place) noexcept {
  index_.erase(place->first);  // first: its key is a view of the path's text
  paths_.erase(place);
}

}  // namespace kt
