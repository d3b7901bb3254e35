// The checks: each tries one thing with the module, in a process of its own.
//
// Threads: each runs on the main thread of its process.
#pragma once

#include <span>
#include <string_view>

#include "ktcheck/bench.h"

namespace ktcheck {

struct Check {
  std::string_view name;
  std::string_view tries;  // what it tries, on one line
  void (*run)(Bench& bench);
};

// Those that can be done here, in the order in which they run.
std::span<const Check> Checks() noexcept;

// The check of that name, or null.
const Check* CheckNamed(std::string_view name) noexcept;

// ---- What they do ------------------------------------------------------------------------------

void CheckExports(Bench& bench);
void CheckNames(Bench& bench);
void CheckEarly(Bench& bench);
void CheckLife(Bench& bench);
void CheckWalk(Bench& bench);
void CheckThreads(Bench& bench);
void CheckLate(Bench& bench);
void CheckLives(Bench& bench);
void CheckFailures(Bench& bench);
void CheckRandomFailures(Bench& bench);
void CheckMemory(Bench& bench);

}  // namespace ktcheck
