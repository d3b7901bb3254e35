// What can be found, and what each finding usually comes from. docs/ktcheck.md has a section for
// each.
//
// Threads: a constant table.
#pragma once

#include <span>
#include <string_view>

namespace ktcheck {

struct FindingKind {
  std::string_view name;   // "leak"
  std::string_view means;  // half a sentence for a list
  std::string_view todo;   // what to do about it: a sentence or two
};

std::span<const FindingKind> FindingKinds() noexcept;

// The kind of that name. Every finding has one of them.
const FindingKind& KindNamed(std::string_view name) noexcept;

}  // namespace ktcheck
