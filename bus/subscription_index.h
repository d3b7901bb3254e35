// SubscriptionIndex finds the subscriptions that match a name without looking at all of them.
//
// Exact names stand in a hash. Patterns that have their "*" in the same places and as many parts
// are of one shape, and stand in one hash by their texts: with "*" in those places a name becomes
// the text of the one pattern of the shape that it matches.
//
//   a.*.c  x.*.z        one shape, two texts; "a.b.c" is looked up in it as "a.*.c"
//   *.b.c               another shape, in which "a.b.c" is looked up as "*.b.c"
//
// So a name costs one look-up, of its own length, for each shape with as many parts, however many
// subscriptions there are. Who subscribes writes few shapes; each is one place where a "*" may be.
//
// Threads:   none of its own; guarded by whoever holds it.
// Ownership: keeps what is in it alive.
// Failure:   Add() throws std::bad_alloc with nothing changed, and AppendMatching() with lists left
//            out. Remove() needs no memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "bus/hashed_name.h"
#include "ktbus3/ktbus3.h"

namespace kt::bus {

class Provider;

struct Subscription {
  KtCookie cookie = 0;
  bool alert = false;
  std::string name;
  std::shared_ptr<Provider> provider;
  std::uint64_t since = 0;  // what was raised up to here is not for it
};

class SubscriptionIndex {
 public:
  // Subscriptions to one text, in the order of Add(). Never empty.
  using Entries = std::vector<std::shared_ptr<const Subscription>>;

  void Add(const std::shared_ptr<const Subscription>& subscription);
  void Remove(const Subscription& subscription) noexcept;

  // Appends the lists of those that match, lent until the next change.
  void AppendMatching(const HashedName& name, std::vector<const Entries*>& out) const;

 private:
  // Most names that are looked up are in none of the tables: with room between its rows a table
  // says so without following a row into memory that is in no cache.
  struct Texts : std::unordered_map<KeptName, Entries, NameHash, NameEqual> {
    Texts() { max_load_factor(0.25F); }
  };
  struct Shape {
    std::vector<std::size_t> stars;  // the numbers of the parts that are "*", rising
    Texts texts;
  };
  using Shapes = std::vector<Shape>;

  static void AddTo(Texts& texts, const std::shared_ptr<const Subscription>& subscription);
  static void RemoveFrom(Texts& texts, const Subscription& subscription) noexcept;

  Texts exact_;
  std::unordered_map<std::size_t, Shapes> patterns_;  // by the number of their parts
};

}  // namespace kt::bus
