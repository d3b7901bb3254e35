// RouteCache keeps where the notices of a name go, so that a name that is raised again is not
// looked up among the subscriptions again.
//
// It is a table of a fixed number of places, in sets of a few: a name has its place in one of them.
// A name that is asked for again moves one place forward, a new one takes the last place of its
// set. So names that come once, however many, push out only each other.
//
// Memory:    at most kNames routes of at most kBytesOfOne bytes each, and the table, whatever names
//            come; the table is made with the first route. What is larger is not kept, and looked
//            up each time.
// Threads:   none of its own; guarded by whoever holds it.
// Ownership: routes are shared with the notices that are on them.
// Failure:   Keep() throws std::bad_alloc with nothing kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "bus/hashed_name.h"
#include "bus/route.h"

namespace kt::bus {

class RouteCache {
 public:
  static constexpr std::size_t kNames = 1024;
  static constexpr std::size_t kBytesOfOne = 512;

  // The route that is kept for the name, or null.
  [[nodiscard]] std::shared_ptr<const Route> Find(const HashedName& name) noexcept;

  // Keeps the route of a name that was not found.
  void Keep(const HashedName& name, const std::shared_ptr<const Route>& route);

  // Gives back no route that was made before.
  void Forget() noexcept { ++era_; }

  // How many routes are held, and how many bytes with the table.
  struct Size {
    std::size_t names = 0;
    std::size_t bytes = 0;
  };
  [[nodiscard]] Size Measure() const noexcept;

 private:
  static constexpr std::size_t kWays = 4;

  struct Place {
    std::shared_ptr<const Route> route;
    std::size_t hash = 0;
    std::uint64_t era = 0;
  };

  [[nodiscard]] Place* SetOf(std::size_t hash) noexcept {
    return places_.data() + hash % (kNames / kWays) * kWays;
  }

  std::vector<Place> places_;
  std::uint64_t era_ = 1;  // an empty place is of no era
};

}  // namespace kt::bus
