#include "access/peer_credentials.h"

#include <grp.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <system_error>
#include <utility>

#include "access/access_system.h"

namespace ktsvc::access {
namespace {

[[noreturn]] void Throw(int error, const char* what) {
  throw std::system_error(error, std::generic_category(), what);
}

ucred ReadCredentials(int socket) {
  ucred credentials{};
  socklen_t size = sizeof(credentials);
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
    Throw(errno, "the peer's credentials cannot be read");
  }
  // What the kernel gives for a socket that has no peer with credentials.
  if (credentials.uid == static_cast<uid_t>(-1) || credentials.gid == static_cast<gid_t>(-1)) {
    Throw(ENOTCONN, "the socket has no peer with credentials");
  }
  return credentials;
}

// What the directory says the user's groups are: for a kernel that does not tell the process's own.
std::vector<gid_t> ListedGroups(const std::string& user, gid_t primary) {
  std::vector<gid_t> groups(64);
  while (!user.empty()) {
    int count = static_cast<int>(groups.size());
    if (getgrouplist(user.c_str(), primary, groups.data(), &count) >= 0) {
      groups.resize(static_cast<std::size_t>(count));
      return groups;
    }
    groups.resize(std::max(static_cast<std::size_t>(count), groups.size() * 2));
  }
  return {};
}

std::vector<gid_t> PeerGroups(int socket, const std::string& user, gid_t primary) {
#ifdef SO_PEERGROUPS
  std::vector<gid_t> groups(64);
  for (;;) {
    auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    if (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) == 0) {
      groups.resize(size / sizeof(gid_t));
      return groups;
    }
    const int error = errno;
    if (error == ERANGE && size > groups.size() * sizeof(gid_t)) {
      groups.resize(size / sizeof(gid_t));
    } else if (error == ENOPROTOOPT || error == ENODATA) {
      break;
    } else {
      Throw(error, "the peer's groups cannot be read");
    }
  }
#endif
  return ListedGroups(user, primary);
}

}  // namespace

std::uint32_t PeerUserId(int socket) {
  return ReadCredentials(socket).uid;
}

Caller PeerCaller(int socket) {
  const ucred credentials = ReadCredentials(socket);
  const NameDirectory& names = SystemNames();
  std::string user = names.UserName(credentials.uid);

  std::vector<Caller::Group> groups{{credentials.gid, names.GroupName(credentials.gid)}};
  for (const gid_t group : PeerGroups(socket, user, credentials.gid)) {
    const bool known = std::any_of(groups.begin(), groups.end(),
                                   [&](const Caller::Group& have) { return have.id == group; });
    if (!known) {
      groups.push_back({group, names.GroupName(group)});
    }
  }
  return {std::move(user), credentials.uid, credentials.gid, std::move(groups)};
}

}  // namespace ktsvc::access
