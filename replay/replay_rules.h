// How a replay takes the functions of the framework.
//
// Threads: pure functions.
#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace ktreplay {

// Memory, locks and sleeps: they may come in any number and order.
constexpr bool IsLenient(std::string_view function) noexcept {
  constexpr std::array<std::string_view, 7> kLenient{"_KtAlloc",
                                                     "_KtFree",
                                                     "KtInitializeCriticalSection",
                                                     "KtEnterCriticalSection",
                                                     "KtLeaveCriticalSection",
                                                     "KtDeleteCriticalSection",
                                                     "KtSleep"};
  return std::find(kLenient.begin(), kLenient.end(), function) != kLenient.end();
}

// Answered from the recording: what depends on the database, and on what the host has set. The
// database lock is real, for it keeps threads apart.
constexpr bool IsAnswered(std::string_view function) noexcept {
  const bool database = function.substr(0, 2) == "Ob" || function.substr(0, 2) == "Ev" ||
                        function == "DbGetObjects" || function == "KtSetTraceLevel";
  return database && function != "ObCompareId";
}

}  // namespace ktreplay
