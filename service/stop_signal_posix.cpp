#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

#include "file_descriptor.h"
#include "stop_signal_source.h"

namespace ktsvc {
namespace {

struct Signal {
  int number;
  const char* name;
};

constexpr std::array kSignals{Signal{SIGINT, "SIGINT"}, Signal{SIGTERM, "SIGTERM"},
                              Signal{SIGHUP, "SIGHUP"}};

// The end of the pipe that the handler writes to. A full pipe loses a byte, which is no loss: the
// thread has plenty to read then.
std::atomic<int> wakeUp{-1};
static_assert(std::atomic<int>::is_always_lock_free, "it is read in a signal handler");

// A byte that only wakes the thread.
constexpr int kNoSignal = 0;

void HandleSignal(int number) {
  const int saved = errno;
  const auto byte = static_cast<unsigned char>(number);
  [[maybe_unused]] const ssize_t written = write(wakeUp.load(), &byte, 1);
  errno = saved;
}

// To be asked at the start: a terminal that has been closed is one no more, and then comes the
// kernel's own SIGHUP.
bool HasControllingTerminal() {
  const FileDescriptor terminal(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
  return terminal.get() >= 0;
}

const char* NameOf(int number) {
  for (const Signal& signal : kSignals) {
    if (signal.number == number) {
      return signal.name;
    }
  }
  return "a signal";
}

std::array<int, 2> MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "a pipe cannot be made");
  }
  fcntl(ends[1], F_SETFL, O_NONBLOCK);  // a handler never waits
  return ends;
}

// One pipe for the life of the process: a handler that is still on its way when its StopSignal goes
// never meets a descriptor that has become something else.
const std::array<int, 2>& Pipe() {
  static const std::array<int, 2> ends = MakePipe();
  return ends;
}

class PosixSource : public StopSignal::Source {
 public:
  explicit PosixSource(StopSignal& target) {
    wakeUp = Pipe()[1];
    thread_ = std::thread([this, &target] { Listen(target); });
    struct sigaction action {};
    action.sa_handler = &HandleSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
      sigaction(kSignals[i].number, nullptr, &former_[i]);
      if (kSignals[i].number != SIGHUP || former_[i].sa_handler != SIG_IGN) {
        sigaction(kSignals[i].number, &action, nullptr);
      }
    }
  }

  ~PosixSource() override {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
      sigaction(kSignals[i].number, &former_[i], nullptr);
    }
    end_ = true;
    HandleSignal(kNoSignal);
    thread_.join();
  }
  PosixSource(const PosixSource&) = delete;
  PosixSource& operator=(const PosixSource&) = delete;

 private:
  void Listen(StopSignal& target) {
    for (;;) {
      unsigned char number = kNoSignal;
      const ssize_t count = read(Pipe()[0], &number, 1);
      if (end_) {
        return;
      }
      if (count == 1 && number != kNoSignal) {
        Tell(target, number);
      }
    }
  }

  void Tell(StopSignal& target, int number) const {
    if (number != SIGHUP || hasTerminal_ || !target.HangUp()) {
      target.Request(NameOf(number));
    }
  }

  const bool hasTerminal_ = HasControllingTerminal();
  std::atomic<bool> end_{false};
  std::array<struct sigaction, kSignals.size()> former_{};
  std::thread thread_;
};

}  // namespace

std::unique_ptr<StopSignal::Source> StopSignal::Source::Listen(StopSignal& target) {
  return std::make_unique<PosixSource>(target);
}

}  // namespace ktsvc
