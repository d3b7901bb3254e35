// Whether others than root and the service's own user could put something else in a file's place.
//
// The rule, for everything that is passed on the way to the file, from the root folder on:
// - It belongs to root or to the service's user.
// - Nobody else may write it. (An entry of an access list that lets somebody write shows in the
//   group's bits.)
// - A folder with the sticky bit, such as /tmp, may be open to others, since nobody takes away
// there
//   what is not his own. But only another folder counts in it: a file or a link that belongs to
//   root can be put there by anybody as a second name of it, a folder cannot.
//
// Threads: pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ktsvc {

enum class PathKind : std::uint8_t { kFolder, kLink, kFile };

// One thing that is passed on the way. `path` is absolute, with neither "." nor ".." nor links
// before its last name.
struct PathPart {
  std::string path;
  PathKind kind = PathKind::kFolder;
  std::uint32_t owner = 0;  // user number
  std::uint32_t mode = 0;   // permission bits with the sticky one: 01777 and below
};

struct PathFault {
  std::string reason;  // all that is wrong, in half a sentence
  std::string advice;  // the command that repairs it
};

// What is wrong with the way, if anything. `parts` in the order in which they are passed, each
// behind the folder that it stands in; the file itself is the last.
std::optional<PathFault> JudgePath(const std::vector<PathPart>& parts, std::uint32_t ownUser);

}  // namespace ktsvc
