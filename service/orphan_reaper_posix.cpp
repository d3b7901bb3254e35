#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include "orphan_reaper.h"

namespace ktsvc {
namespace {

bool TakesOrphans() {
  int subreaper = 0;
  return getpid() == 1 || (prctl(PR_GET_CHILD_SUBREAPER, &subreaper) == 0 && subreaper != 0);
}

int StatusOf(int wait_status) {
  return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
}

// Collects every child that has ended. True when the service was among them.
bool CollectChildren(pid_t service, int& wait_status) {
  bool ended = false;
  for (;;) {
    int one = 0;
    const pid_t child = waitpid(-1, &one, WNOHANG);
    if (child <= 0) return ended;
    if (child == service) {
      wait_status = one;
      ended = true;
    }
  }
}

// What the system sends of itself, such as Ctrl-C, reaches the service without help.
bool WasSentBySomebody(const siginfo_t& info) {
  return info.si_code <= 0;
}

int WaitFor(pid_t service, const sigset_t& all) {
  for (;;) {
    siginfo_t info{};
    const int number = sigwaitinfo(&all, &info);
    if (number == SIGCHLD) {
      int wait_status = 0;
      if (CollectChildren(service, wait_status)) return StatusOf(wait_status);
    } else if (number > 0 && WasSentBySomebody(info)) {
      kill(service, number);
    }
  }
}

}  // namespace

int RunBesideReaper(const std::function<int()>& service) {
  if (!TakesOrphans()) return service();
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t child = fork();
  if (child < 0) {
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw std::system_error(error, std::generic_category(), "no process can be made");
  }
  if (child > 0) return WaitFor(child, all);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  // Nobody would collect anything for a service whose parent was killed.
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  return service();
}

}  // namespace ktsvc
