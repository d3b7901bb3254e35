// What a process that ended before its time has left in its output: the report of a sanitizer, or
// else the last lines.
//
// Threads: one thread.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace ktcheck {

struct SaidLast {
  std::string
      sanitizer;  // what a sanitizer has found: "AddressSanitizer: heap-buffer-overflow"; ""
  std::vector<std::string> lines;
};

// Nothing when the file cannot be read.
SaidLast WhatWasSaidLast(const std::filesystem::path& output);

}  // namespace ktcheck
