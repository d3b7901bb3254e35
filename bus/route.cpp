#include "bus/route.h"

#include <algorithm>
#include <new>
#include <type_traits>

namespace kt::bus {

// The block: the route, its providers, its text. It is made of words, so all is aligned, and given
// back as words: none of it has a destructor to run.
std::shared_ptr<const Route> Route::Make(std::string_view name,
                                         std::span<Provider* const> providers) {
  static_assert(std::is_trivially_destructible_v<Route> && sizeof(Route) % sizeof(Provider*) == 0 &&
                alignof(Route) <= alignof(Provider*));
  const std::size_t fixed = sizeof(Route) / sizeof(Provider*) + providers.size();
  const std::size_t words = fixed + name.size() / sizeof(Provider*) + 1;
  const auto block = std::make_shared_for_overwrite<Provider*[]>(words);
  Provider** const kept = block.get() + sizeof(Route) / sizeof(Provider*);
  std::copy(providers.begin(), providers.end(), kept);
  auto* const text = reinterpret_cast<char*>(block.get() + fixed);
  *std::copy(name.begin(), name.end(), text) = '\0';
  const auto* const route = new (block.get()) Route({text, name.size()}, {kept, providers.size()});
  return {block, route};
}

}  // namespace kt::bus
