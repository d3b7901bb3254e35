// Callers as the kernel or a token would give them.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "access/caller.h"

namespace ktsvc::access {

class CallerForTests {
 public:
  static Caller Peer(std::string name, std::uint32_t uid, std::vector<Caller::Group> groups = {}) {
    const std::uint32_t gid = groups.empty() ? uid : groups.front().id;
    return {std::move(name), uid, gid, std::move(groups)};
  }
  static Caller Token(std::string name) { return Caller(std::move(name)); }
};

}  // namespace ktsvc::access
