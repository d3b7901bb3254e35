// Route says where the notices of a name go: its text and the providers, in one block of memory
// that never changes.
//
// Threads:   immutable.
// Ownership: shared by the cache of routes and the notices that are on it. It does not keep the
//            providers: they are to be followed only while none has gone.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

namespace kt::bus {

class Provider;

class Route {
 public:
  // Copies both. Throws std::bad_alloc.
  static std::shared_ptr<const Route> Make(std::string_view name,
                                           std::span<Provider* const> providers);

  // Of the event, or of an alert its own. A zero follows the text.
  [[nodiscard]] std::string_view name() const noexcept { return name_; }

  // Each once.
  [[nodiscard]] std::span<Provider* const> providers() const noexcept { return providers_; }

  // What the block takes.
  [[nodiscard]] std::size_t bytes() const noexcept {
    return sizeof(Route) + providers_.size_bytes() + name_.size() + 1;
  }

 private:
  Route(std::string_view name, std::span<Provider* const> providers) noexcept
      : name_(name), providers_(providers) {}

  const std::string_view name_;
  const std::span<Provider* const> providers_;
};

}  // namespace kt::bus
