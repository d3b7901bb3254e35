// Caller: who is asking, as the kernel or a verified token says.
//
// There is no way to make one from what a request says: PeerCaller() reads the credentials of a
// connected socket (peer_credentials.h), TokenFile::Verify() compares a secret (token_file.h).
//
// Threads: a value.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ktsvc::access {

class Caller {
 public:
  enum class Kind : std::uint8_t {
    kUnixPeer,  // a process on this machine, known by its user and groups
    kToken,     // whoever holds a token's secret, known by the token's name
  };

  struct Group {
    std::uint32_t id = 0;
    std::string name;  // empty when the number has no name
  };

  [[nodiscard]] Kind kind() const noexcept { return kind_; }

  // The user's or the token's name. A user whose number has no name has an empty one.
  [[nodiscard]] const std::string& name() const noexcept { return name_; }

  // Of a peer only: its user, its primary group, and all its groups, the primary one first.
  [[nodiscard]] std::uint32_t uid() const noexcept { return uid_; }
  [[nodiscard]] std::uint32_t gid() const noexcept { return gid_; }
  [[nodiscard]] const std::vector<Group>& groups() const noexcept { return groups_; }

  // "user alice (1000)", "user 1000", "token ci".
  [[nodiscard]] std::string Text() const;

 private:
  friend Caller PeerCaller(int socket);
  friend class TokenFile;
  friend class CallerForTests;  // tests/access/caller_for_tests.h

  Caller(std::string name, std::uint32_t uid, std::uint32_t gid, std::vector<Group> groups);
  explicit Caller(std::string tokenName);

  Kind kind_;
  std::string name_;
  std::uint32_t uid_ = 0;
  std::uint32_t gid_ = 0;
  std::vector<Group> groups_;
};

}  // namespace ktsvc::access
