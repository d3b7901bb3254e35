#include "access/peer_credentials.h"

#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <set>
#include <system_error>
#include <vector>

#include "access/access_system.h"

namespace ktsvc::access {
namespace {

class Sockets {
 public:
  Sockets() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends_.data()), 0); }
  ~Sockets() {
    close(ends_[0]);
    close(ends_[1]);
  }
  Sockets(const Sockets&) = delete;
  Sockets& operator=(const Sockets&) = delete;
  [[nodiscard]] int first() const { return ends_[0]; }

 private:
  std::array<int, 2> ends_{-1, -1};
};

std::set<std::uint32_t> GroupIds(const Caller& caller) {
  std::set<std::uint32_t> ids;
  for (const Caller::Group& group : caller.groups()) {
    ids.insert(group.id);
  }
  return ids;
}

TEST(PeerCaller, IsTheUserAndTheGroupsOfTheProcessAtTheOtherEnd) {
  const Sockets sockets;
  const Caller caller = PeerCaller(sockets.first());
  EXPECT_EQ(caller.kind(), Caller::Kind::kUnixPeer);
  EXPECT_EQ(caller.uid(), geteuid());
  EXPECT_EQ(caller.gid(), getegid());
  EXPECT_EQ(caller.name(), SystemNames().UserName(geteuid()));

  std::vector<gid_t> own(65536);
  const int count = getgroups(static_cast<int>(own.size()), own.data());
  ASSERT_GE(count, 0);
  std::set<std::uint32_t> expected(own.begin(), own.begin() + count);
  expected.insert(getegid());
  EXPECT_EQ(GroupIds(caller), expected);
}

TEST(PeerCaller, PutsThePrimaryGroupFirstAndNamesEachGroupOnce) {
  const Sockets sockets;
  const Caller caller = PeerCaller(sockets.first());
  ASSERT_FALSE(caller.groups().empty());
  EXPECT_EQ(caller.groups().front().id, getegid());
  EXPECT_EQ(GroupIds(caller).size(), caller.groups().size());
  for (const Caller::Group& group : caller.groups()) {
    EXPECT_EQ(group.name, SystemNames().GroupName(group.id));
  }
}

// The credentials of a socket pair made by a child that has become another user; the child's exit
// status says whether they were as expected.
int InAChild(int (*check)()) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(check());
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(PeerCaller, FollowsAProcessThatBecameAnotherUserWithMoreGroupsThanTheFirstGuess) {
  if (geteuid() != 0) {
    // Only root can become another; elsewhere the process itself is all that can be looked at.
    const Sockets sockets;
    EXPECT_NE(PeerCaller(sockets.first()).uid(), 0U);
    return;
  }
  EXPECT_EQ(InAChild([] {
              std::vector<gid_t> groups;
              for (gid_t group = 50000; group < 50200; ++group) {
                groups.push_back(group);
              }
              if (setgroups(groups.size(), groups.data()) != 0 || setgid(50500) != 0 ||
                  setuid(50600) != 0) {
                return 1;
              }
              const Sockets sockets;
              const Caller caller = PeerCaller(sockets.first());
              return caller.uid() == 50600 && caller.gid() == 50500 && caller.name().empty() &&
                             caller.groups().size() == 201 && caller.groups().front().id == 50500
                         ? 0
                         : 2;
            }),
            0);
}

TEST(PeerCaller, RefusesWhatHasNoPeerWithCredentials) {
  const int lonely = socket(AF_UNIX, SOCK_STREAM, 0);
  EXPECT_THROW(PeerCaller(lonely), std::system_error);
  close(lonely);
  const int internet = socket(AF_INET, SOCK_STREAM, 0);
  EXPECT_THROW(PeerCaller(internet), std::system_error);
  close(internet);
  std::array<int, 2> pipe{-1, -1};
  ASSERT_EQ(::pipe(pipe.data()), 0);
  EXPECT_THROW(PeerCaller(pipe[0]), std::system_error);
  close(pipe[0]);
  close(pipe[1]);
  EXPECT_THROW(PeerCaller(-1), std::system_error);
}

}  // namespace
}  // namespace ktsvc::access
