// The words of ktcheck's command line.
//
// Threads: one thread.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "ktcheck/options.h"

namespace ktcheck {

// A text to print and to end with: a help, a list, or what is wrong with the words.
struct LastWords {
  std::string text;
  int status = kExitPassed;
};

std::variant<Options, LastWords> ReadCommandLine(const std::vector<std::string>& words);

// The words with which a process of the same options runs one check.
std::vector<std::string> WordsForOne(const Options& options, const std::string& check,
                                     const std::filesystem::path& report, std::uint64_t from);

// The words with which a process of the same options replays.
std::vector<std::string> WordsForReplay(const Options& options,
                                        const std::filesystem::path& report);

}  // namespace ktcheck
