// What a replay says to a person.
#include <string>

#include "replay/replayer.h"

namespace ktreplay {
namespace {

// "0.004120 s"
std::string Seconds(std::uint64_t microseconds) {
  const std::string part = std::to_string(1000000U + microseconds % 1000000U);
  return std::to_string(microseconds / 1000000U) + "." + part.substr(1) + " s";
}

}  // namespace

std::string ReplayText(const ReplayResult& result) {
  std::string text;
  const std::string counts =
      std::to_string(result.functions) + " functions called, " + std::to_string(result.calls) +
      " calls of the framework compared, of " + std::to_string(result.items) + " items\n";
  if (!result.difference) {
    text = result.provider + ": no difference; " + counts;
  } else {
    const Difference& difference = *result.difference;
    text = result.provider + ": the first difference";
    if (difference.item != 0) {
      text += " is at item " + std::to_string(difference.item) + " (" +
              Seconds(difference.microseconds) + ")";
    }
    if (difference.thread != 0) {
      text += ", thread " + std::to_string(difference.thread);
    }
    text += "\n";
    if (!difference.inside.empty()) {
      text += "  inside    " + difference.inside + "\n";
    }
    text +=
        "  expected  " + difference.expected + "\n  came      " + difference.came + "\n  " + counts;
  }
  if (result.given_up != 0) {
    text += "  the recorded order was given up " + std::to_string(result.given_up) +
            (result.given_up == 1 ? " time" : " times") +
            ": a thread that all waited for did not come\n";
  }
  if (!result.incomplete.empty()) {
    text += "  the recording is not whole: " + result.incomplete + "; it was replayed so far\n";
  }
  if (result.stuck) {
    text += "  the module has not come back\n";
  }
  return text;
}

}  // namespace ktreplay
