// Whose a file may be, and who else may touch it, before a program believes what it says.
//
// Threads: pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "shell_word.h"

namespace ktsvc::access {

enum class FileGuard : std::uint8_t {
  kWrittenByOwnerOnly,  // others may read it: an access file
  kReadByOwnerOnly,     // nobody else may even read it: a token file
};

struct FileFacts {
  std::uint32_t owner = 0;  // user number
  std::uint32_t mode = 0;   // permission bits, 0777 and below
};

struct FileFault {
  std::string reason;  // half a sentence
  std::string advice;  // a sentence with the command that repairs it
};

// What is wrong with the file, if anything: its owner must be root or `ownUser`, who reads it, and
// its mode as the guard says. `file` is the name that the commands are given.
std::optional<FileFault> JudgeFile(const std::string& file, const FileFacts& facts, FileGuard guard,
                                   std::uint32_t ownUser);

}  // namespace ktsvc::access
