#include "orphan_reaper.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <functional>
#include <thread>

namespace {

using ktsvc::RunBesideReaper;

// The status of a process that takes orphans and runs `service` beside the reaper.
class Reaping {
 public:
  explicit Reaping(const std::function<int()>& service) : process_(fork()) {
    if (process_ == 0) {
      prctl(PR_SET_CHILD_SUBREAPER, 1);
      _exit(RunBesideReaper(service));
    }
  }
  [[nodiscard]] pid_t process() const { return process_; }
  int Status() const {
    int status = 0;
    EXPECT_EQ(waitpid(process_, &status, 0), process_);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t process_;
};

// Leaves an orphan that ends at once and returns its number.
pid_t LeaveAnOrphan() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return -1;
  const pid_t child = fork();
  if (child == 0) {
    const pid_t orphan = fork();
    if (orphan == 0) _exit(0);
    _exit(write(ends[1], &orphan, sizeof orphan) == sizeof orphan ? 0 : 1);
  }
  pid_t orphan = -1;
  const bool told = read(ends[0], &orphan, sizeof orphan) == sizeof orphan;
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  return told ? orphan : -1;
}

TEST(OrphanReaper, RunsTheServiceInThisProcessWhereOrphansGoElsewhere) {
  const pid_t here = getpid();
  EXPECT_EQ(RunBesideReaper([here] { return getpid() == here ? 5 : 6; }), 5);
}

TEST(OrphanReaper, RunsTheServiceInAChildWhereOrphansComeHere) {
  const Reaping reaping([] {
    int subreaper = 0;
    prctl(PR_GET_CHILD_SUBREAPER, &subreaper);
    return subreaper == 0 ? 5 : 6;
  });
  EXPECT_EQ(reaping.Status(), 5);
}

TEST(OrphanReaper, CollectsAnOrphanOfTheServiceWhileTheServiceRuns) {
  const Reaping reaping([] {
    const pid_t orphan = LeaveAnOrphan();
    if (orphan < 0) return 6;
    // Gone altogether, not waiting to be collected.
    while (kill(orphan, 0) == 0) std::this_thread::yield();
    return errno == ESRCH ? 5 : 7;
  });
  EXPECT_EQ(reaping.Status(), 5);
}

TEST(OrphanReaper, PassesASignalOnToTheService) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const Reaping reaping([&ends] {
    sigset_t wanted;
    sigemptyset(&wanted);
    sigaddset(&wanted, SIGTERM);
    sigprocmask(SIG_BLOCK, &wanted, nullptr);
    if (write(ends[1], "r", 1) != 1) return 6;
    int number = 0;
    sigwait(&wanted, &number);
    return number == SIGTERM ? 5 : 7;
  });
  char ready = 0;
  ASSERT_EQ(read(ends[0], &ready, 1), 1);
  kill(reaping.process(), SIGTERM);
  EXPECT_EQ(reaping.Status(), 5);
  close(ends[0]);
  close(ends[1]);
}

TEST(OrphanReaper, AnswersForAServiceThatASignalEnded) {
  const Reaping reaping([] { return kill(getpid(), SIGKILL); });
  EXPECT_EQ(reaping.Status(), 128 + SIGKILL);
}

}  // namespace
