#include "ktcheck/last_words.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>

namespace ktcheck {
namespace {

constexpr std::size_t kLastLines = 12;
constexpr std::size_t kReportLines = 24;

// How the first line of a report of a sanitizer is known, and what of it is told.
struct Beginning {
  std::string_view mark;
  std::string_view told_from;
};
constexpr std::array<Beginning, 4> kBeginnings{{
    {"ERROR: AddressSanitizer: ", "AddressSanitizer: "},
    {"ERROR: LeakSanitizer: ", "LeakSanitizer: "},
    {"WARNING: ThreadSanitizer: ", "ThreadSanitizer: "},
    {": runtime error: ", "runtime error: "},
}};

// What the line tells, without what differs from one run to the next: "" when it begins no report.
std::string FoundIn(const std::string& line) {
  for (const Beginning& beginning : kBeginnings) {
    if (line.find(beginning.mark) == std::string::npos) continue;
    std::string found = line.substr(line.find(beginning.told_from));
    for (const std::string_view varying : {" on address", " on unknown address", " (pid", " 0x"}) {
      found = found.substr(0, found.find(varying));
    }
    return found;
  }
  return {};
}

}  // namespace

SaidLast WhatWasSaidLast(const std::filesystem::path& output) {
  SaidLast said;
  std::ifstream stream(output, std::ios::binary);
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (said.sanitizer.empty()) {
      said.sanitizer = FoundIn(line);
      if (!said.sanitizer.empty()) said.lines.clear();
    }
    if (!said.sanitizer.empty() && said.lines.size() == kReportLines) break;
    said.lines.push_back(line);
    if (said.sanitizer.empty() && said.lines.size() > kLastLines) {
      said.lines.erase(said.lines.begin());
    }
  }
  return said;
}

}  // namespace ktcheck
