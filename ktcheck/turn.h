// Turn: one process of this program that runs a module, watched until it ends, and what came of it.
//
// Threads: one thread.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ktcheck/last_words.h"
#include "ktcheck/process.h"
#include "ktcheck/report.h"

namespace ktcheck {

struct Turn {
  ReportRead report;
  std::optional<ProcessEnd> end;  // nothing: it was ended here, since nothing happened any more
  bool stopped = false;           // by the person
  SaidLast said;

  // What its end says of the module, if anything.
  [[nodiscard]] std::optional<Finding> EndFinding() const;

 private:
  [[nodiscard]] std::vector<Trail> Said() const;
};

struct TurnOptions {
  std::vector<std::string> words;  // the process's, without its name
  std::filesystem::path report;    // which it writes
  std::filesystem::path output;    // what else it says
  // So long nothing may come to the report; nothing: for ever.
  std::optional<std::chrono::seconds> patience;
  std::function<bool()> stopped;  // the person does not want to wait any longer
};

// Starts it and waits. Throws std::runtime_error when it cannot be started.
Turn RunTurn(const TurnOptions& options);

}  // namespace ktcheck
