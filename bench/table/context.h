// Where and when something was measured, from the context that the programs write into a result.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace kt::bench {

// Texts that are not known are empty.
struct Context {
  std::string date;
  std::string commit;
  std::string compiler;
  std::string cpu;
  int cpus = 0;

  // "2026-01-02T03:04:05+00:00, commit 1234567, g++ 12.2.0" and "a processor, 2 CPUs", a line
  // each; nothing for what is not known.
  [[nodiscard]] std::string Text() const;
};

// The context of a result of Google Benchmark; what is missing stays empty.
Context ReadContext(const nlohmann::json& result);

}  // namespace kt::bench
