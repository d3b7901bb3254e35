#include "bus/route_cache.h"

#include <algorithm>
#include <utility>

namespace kt::bus {
namespace {

std::size_t BytesOf(const Route& route) noexcept {
  return sizeof(Route) + route.name.capacity() + route.providers.capacity() * sizeof(Provider*);
}

}  // namespace

std::shared_ptr<const Route> RouteCache::Find(const Key& key) noexcept {
  if (places_.empty()) return nullptr;
  Place* const set = SetOf(key.hash);
  for (std::size_t way = 0; way < kWays; ++way) {
    Place& place = set[way];
    if (place.era != era_ || place.hash != key.hash || place.route->name != key.name) continue;
    if (way == 0) return place.route;
    std::swap(place, set[way - 1]);
    return set[way - 1].route;
  }
  return nullptr;
}

void RouteCache::Keep(const Key& key, const std::shared_ptr<const Route>& route) {
  if (BytesOf(*route) > kBytesOfOne) return;
  if (places_.empty()) places_.resize(kNames);
  Place* const set = SetOf(key.hash);
  Place* const last = set + kWays - 1;
  Place* const place =
      std::find_if(set, last, [this](const Place& one) { return one.era != era_; });
  *place = {route, key.hash, era_};
}

RouteCache::Size RouteCache::Measure() const noexcept {
  Size size{0, places_.capacity() * sizeof(Place)};
  for (const Place& place : places_) {
    if (place.route == nullptr) continue;
    ++size.names;
    size.bytes += BytesOf(*place.route);
  }
  return size;
}

}  // namespace kt::bus
