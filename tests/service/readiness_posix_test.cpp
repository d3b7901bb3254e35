#include "readiness.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "service/program.h"

namespace ktsvc {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// A service manager's socket, which keeps what it is told until it is asked.
class Manager {
 public:
  Manager() : path_((folder_.path() / "notify").string()) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof(address.sun_path)) {
      throw std::runtime_error("the path is too long: " + path_);
    }
    path_.copy(address.sun_path, path_.size());
    socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the form of the system's call.
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
      throw std::runtime_error("the socket cannot be bound");
    }
    thread_ = std::thread([this] { Receive(); });
  }
  ~Manager() { Told(); }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

  // All messages so far, in their order. No more are taken.
  const std::vector<std::string>& Told() {
    if (thread_.joinable()) {
      // An empty datagram behind all others ends the thread.
      const int own = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      path_.copy(address.sun_path, path_.size());
      // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the form of the system's call.
      sendto(own, "", 0, 0, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
      close(own);
      thread_.join();
      close(socket_);
    }
    return told_;
  }

 private:
  void Receive() {
    std::array<char, 4096> block{};
    for (;;) {
      const ssize_t count = recv(socket_, block.data(), block.size(), 0);
      if (count <= 0) {
        return;
      }
      told_.emplace_back(block.data(), static_cast<std::size_t>(count));
    }
  }

  const ktsvc_test::ScratchFolder folder_;
  const std::string path_;
  int socket_ = -1;
  std::vector<std::string> told_;
  std::thread thread_;
};

class ReadinessTold : public testing::Test {
 protected:
  ReadinessTold() { setenv("NOTIFY_SOCKET", manager_.path().c_str(), 1); }
  ~ReadinessTold() override { unsetenv("NOTIFY_SOCKET"); }

  Manager manager_;
  const Readiness readiness_{};
};

TEST_F(ReadinessTold, SaysThatItServesAndThatItStops) {
  readiness_.Serving("serving 2 providers");
  readiness_.Doing("waiting for disks");
  readiness_.Stopping("stopping: SIGTERM");
  EXPECT_THAT(manager_.Told(),
              ElementsAre("READY=1\nSTATUS=serving 2 providers", "STATUS=waiting for disks",
                          "STOPPING=1\nSTATUS=stopping: SIGTERM"));
}

TEST_F(ReadinessTold, LetsNoTextBecomeAnotherField) {
  readiness_.Doing("a\nREADY=1\tb");
  EXPECT_THAT(manager_.Told(), ElementsAre("STATUS=a READY=1 b"));
}

TEST(ReadinessWithoutAManager, DoesNothing) {
  unsetenv("NOTIFY_SOCKET");
  const Readiness readiness{};
  readiness.Serving("serving");
  readiness.Stopping("stopping");
  EXPECT_EQ(getenv("NOTIFY_SOCKET"), nullptr);
}

TEST(ReadinessWithAManagerThatHasGone, DoesNothing) {
  {
    const ktsvc_test::ScratchFolder folder;
    setenv("NOTIFY_SOCKET", (folder.path() / "gone").c_str(), 1);
  }
  const Readiness readiness{};
  EXPECT_NO_THROW(readiness.Serving("serving"));
  unsetenv("NOTIFY_SOCKET");
}

class TheProgramUnderAManager : public testing::Test {
 protected:
  // What the manager was told by a program that serves, gets SIGTERM, and ends.
  std::vector<std::string> LifeOf(std::vector<std::string> words) {
    words.emplace_back("--no-socket");
    ktsvc_test::Program program(ktsvc_test::RunWords(words), {{"NOTIFY_SOCKET", manager_.path()}});
    EXPECT_TRUE(program.WaitForError("ktsvc: serving"));
    program.Signal(SIGTERM);
    program.Wait();
    return manager_.Told();
  }

  Manager manager_;
};

TEST_F(TheProgramUnderAManager, IsReadyOnceItServesAndSaysWhenItStops) {
  const auto told = LifeOf({"good"});
  const auto ready = std::find_if(told.begin(), told.end(), [](const std::string& message) {
    return message.rfind("READY=1\n", 0) == 0;
  });
  const auto stopping = std::find_if(told.begin(), told.end(), [](const std::string& message) {
    return message.rfind("STOPPING=1\n", 0) == 0;
  });
  ASSERT_NE(ready, told.end());
  ASSERT_NE(stopping, told.end());
  EXPECT_LT(ready - told.begin(), stopping - told.begin());
  EXPECT_THAT(*ready, HasSubstr("STATUS=serving 1 provider"));
  EXPECT_THAT(*stopping, HasSubstr("SIGTERM"));
  // Before: what its start waits for. After: what its stop waits for.
  EXPECT_THAT(std::vector<std::string>(told.begin(), ready),
              Contains("STATUS=waiting for good to initialize"));
  EXPECT_THAT(std::vector<std::string>(stopping, told.end()),
              Contains("STATUS=waiting for good to shut down"));
}

TEST_F(TheProgramUnderAManager, IsNeverReadyWhenNoProviderRuns) {
  ktsvc_test::Program program(ktsvc_test::RunWords({"refusing", "--no-socket"}),
                              {{"NOTIFY_SOCKET", manager_.path()}});
  EXPECT_EQ(program.Wait().status, 1);
  EXPECT_THAT(manager_.Told(), Not(Contains(StartsWith("READY=1"))));
}

}  // namespace
}  // namespace ktsvc
