#include "access/caller.h"

#include <utility>

namespace ktsvc::access {

Caller::Caller(std::string name, std::uint32_t uid, std::uint32_t gid, std::vector<Group> groups)
    : kind_(Kind::kUnixPeer),
      name_(std::move(name)),
      uid_(uid),
      gid_(gid),
      groups_(std::move(groups)) {}

Caller::Caller(std::string tokenName) : kind_(Kind::kToken), name_(std::move(tokenName)) {}

std::string Caller::Text() const {
  if (kind_ == Kind::kToken) {
    return "token " + name_;
  }
  const std::string number = std::to_string(uid_);
  return name_.empty() ? "user " + number : "user " + name_ + " (" + number + ")";
}

}  // namespace ktsvc::access
