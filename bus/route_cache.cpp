#include "bus/route_cache.h"

#include <algorithm>
#include <utility>

namespace kt::bus {
std::shared_ptr<const Route> RouteCache::Find(const HashedName& name) noexcept {
  if (places_.empty()) return nullptr;
  Place* const set = SetOf(name.hash);
  for (std::size_t way = 0; way < kWays; ++way) {
    Place& place = set[way];
    if (place.era != era_ || place.hash != name.hash || place.route->name() != name.text) continue;
    if (way == 0) return place.route;
    std::swap(place, set[way - 1]);
    return set[way - 1].route;
  }
  return nullptr;
}

void RouteCache::Keep(const HashedName& name, const std::shared_ptr<const Route>& route) {
  if (route->bytes() > kBytesOfOne) return;
  if (places_.empty()) places_.resize(kNames);
  Place* const set = SetOf(name.hash);
  Place* const last = set + kWays - 1;
  Place* const place =
      std::find_if(set, last, [this](const Place& one) { return one.era != era_; });
  *place = {route, name.hash, era_};
}

RouteCache::Size RouteCache::Measure() const noexcept {
  Size size{0, places_.capacity() * sizeof(Place)};
  for (const Place& place : places_) {
    if (place.route == nullptr) continue;
    ++size.names;
    size.bytes += place.route->bytes();
  }
  return size;
}

}  // namespace kt::bus
