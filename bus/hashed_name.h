// A name with its hash, so that several tables look it up and it is hashed once; and the hash of
// such tables.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace kt::bus {

// Lent.
struct HashedName {
  explicit HashedName(std::string_view name) noexcept
      : text(name), hash(std::hash<std::string_view>{}(name)) {}
  std::string_view text;
  std::size_t hash;
};

// Kept, as the key of a table. The hash stands beside the text: a table that walks over its keys
// asks for it again.
struct KeptName {
  explicit KeptName(const HashedName& name) : text(name.text), hash(name.hash) {}
  std::string text;
  std::size_t hash;
};

struct NameHash {
  using is_transparent = void;
  std::size_t operator()(const HashedName& name) const noexcept { return name.hash; }
  std::size_t operator()(const KeptName& name) const noexcept { return name.hash; }
};

struct NameEqual {
  using is_transparent = void;
  template <typename Left, typename Right>
  bool operator()(const Left& left, const Right& right) const noexcept {
    return left.hash == right.hash && left.text == right.text;
  }
};

}  // namespace kt::bus
