// What the cache of routes keeps, and that it keeps no more than it says.
#include "bus/route_cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace kt::bus {
namespace {

// A provider is never followed here: any address will do.
Provider* Number(std::uintptr_t number) {
  return reinterpret_cast<Provider*>(number);  // NOLINT(performance-no-int-to-ptr)
}

std::shared_ptr<const Route> Make(std::string_view name, std::size_t providers = 1) {
  std::vector<Provider*> list;
  for (std::size_t i = 1; i <= providers; ++i) list.push_back(Number(16 * i));
  return Route::Make(name, list);
}

std::shared_ptr<const Route> Keep(RouteCache& cache, const std::string& name) {
  const HashedName hashed(name);
  if (auto kept = cache.Find(hashed)) return kept;
  auto made = Make(name);
  cache.Keep(hashed, made);
  return made;
}

TEST(Route, HasItsNameWithAZeroBehindItAndItsProvidersInOrder) {
  for (const std::string name : {"", "a", "a.b.c.d", "a.name.of.some.length"}) {
    for (const std::size_t providers : {0U, 1U, 3U}) {
      const auto route = Make(name, providers);
      EXPECT_EQ(route->name(), name);
      EXPECT_EQ(route->name().data()[name.size()], '\0');
      ASSERT_EQ(route->providers().size(), providers);
      for (std::size_t i = 0; i < providers; ++i) {
        EXPECT_EQ(route->providers()[i], Number(16 * (i + 1)));
      }
    }
  }
}

TEST(RouteCache, GivesBackWhatItKeepsAndNothingForOtherNames) {
  RouteCache cache;
  EXPECT_EQ(cache.Find(HashedName("a")), nullptr);
  const auto a = Keep(cache, "a");
  const auto b = Keep(cache, "b");
  EXPECT_EQ(cache.Find(HashedName("a")), a);
  EXPECT_EQ(cache.Find(HashedName("b")), b);
  EXPECT_EQ(cache.Find(HashedName("c")), nullptr);
}

TEST(RouteCache, GivesBackNothingFromBeforeItForgot) {
  RouteCache cache;
  Keep(cache, "a");
  cache.Forget();
  EXPECT_EQ(cache.Find(HashedName("a")), nullptr);
  const auto fresh = Keep(cache, "a");
  EXPECT_EQ(cache.Find(HashedName("a")), fresh);
}

TEST(RouteCache, HoldsNoMoreThanItsNamesAndBytesWhateverNamesCome) {
  RouteCache cache;
  const std::size_t table = [&cache] {
    const std::size_t route = Keep(cache, "first")->bytes();
    return cache.Measure().bytes - route;
  }();
  for (std::size_t i = 0; i < 60'000; ++i) {
    // Of all lengths, those that are too long to be kept included.
    Keep(cache, "name." + std::to_string(i) + "." + std::string(i % 700, 'x'));
    if (i % 2000 == 0) cache.Forget();
  }
  const RouteCache::Size size = cache.Measure();
  EXPECT_GT(size.names, RouteCache::kNames / 2);
  EXPECT_LE(size.names, RouteCache::kNames);
  EXPECT_LE(size.bytes, table + RouteCache::kNames * RouteCache::kBytesOfOne);
  EXPECT_LE(size.bytes, std::size_t{1024} * 1024);
}

TEST(RouteCache, DoesNotKeepARouteThatIsTooLarge) {
  RouteCache cache;
  const std::string name(RouteCache::kBytesOfOne, 'x');
  Keep(cache, name);
  EXPECT_EQ(cache.Find(HashedName(name)), nullptr);
  const HashedName many("many");
  cache.Keep(many, Make(many.text, RouteCache::kBytesOfOne));
  EXPECT_EQ(cache.Find(many), nullptr);
}

TEST(RouteCache, KeepsANameThatIsAskedForWhileOthersComeOnce) {
  RouteCache cache;
  const auto warm = Keep(cache, "warm");
  for (int i = 0; i < 50'000; ++i) {
    Keep(cache, "once." + std::to_string(i));
    ASSERT_EQ(cache.Find(HashedName("warm")), warm) << i;
  }
}

}  // namespace
}  // namespace kt::bus
