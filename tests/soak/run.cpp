#include "soak/run.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <vector>

#include "soak/ids.h"
#include "soak/load.h"
#include "soak/picture.h"
#include "soak/remote.h"

namespace soak {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::chrono::seconds kSay{60};
constexpr std::chrono::seconds kBurst{10};
constexpr unsigned kEventsInBurst = 100;
constexpr std::size_t kShownFaults = 20;
constexpr double kBytesInMiB = 1024 * 1024;

void Tell(const std::string& text) {
  static_cast<void>(std::fprintf(stderr, "soak: %s\n", text.c_str()));
}

std::string MinutesText(double seconds) {
  const auto whole = static_cast<unsigned long>(seconds);
  const std::string rest = std::to_string(whole % 60);
  return std::to_string(whole / 60) + (rest.size() == 1 ? ":0" : ":") + rest;
}

// Something that is due again and again.
class Due {
 public:
  explicit Due(Clock::duration every) : every_(every), next_(Clock::now() + every) {}

  bool Now() {
    if (Clock::now() < next_) {
      return false;
    }
    next_ = Clock::now() + every_;
    return true;
  }

 private:
  const Clock::duration every_;
  Clock::time_point next_;
};

class Soak {
 public:
  Soak(const Wish& wish, ktsvc::StopSignal& stop)
      : wish_(wish), stop_(stop), csv_(wish.out / "soak.csv"), begin_(Clock::now()), say_(kSay) {
    csv_ << CsvHead() << std::endl;
    if (!csv_) {
      throw std::runtime_error((wish.out / "soak.csv").string() + " cannot be written");
    }
  }

  Verdict Do() {
    for (unsigned life = 1; life <= wish_.lives && !stop_.Requested() && !broken_; ++life) {
      Live(life);
    }
    Verdict verdict;
    verdict.seconds = last_.seconds;
    verdict.samples = samples_.size();
    verdict.last = last_;
    verdict.seed = wish_.seed;
    verdict.interrupted = stop_.Requested();
    verdict.judged = wish_.judge;
    verdict.rows = JudgeAll(samples_);
    verdict.faults = faults_;
    verdict.faultCount = faultCount_;
    return verdict;
  }

 private:
  // One life of the service.
  void Live(unsigned life) {
    setenv(kModulesVariable, wish_.build.modules.c_str(), 1);
    std::optional<stress::ServiceUnderTest> service;
    try {
      service.emplace(
          wish_.build,
          std::vector<std::string>{"hostkit", wish_.build.BusyModule().string(),
                                   (wish_.build.tests / "soak" / "modules" / "soak.so").string()},
          std::vector<std::string>{"--trace-file", "/dev/null"}, true);
      Tell("life " + std::to_string(life) + " of the service begins");
      before_ = last_;
      badRestarts_ = 0;
      Work(*service, life);
    } catch (const std::exception& error) {
      Fail(error.what());
      broken_ = true;
    }
    if (!service) {
      return;
    }
    // One that does not answer may hang, and would not stop either.
    if (broken_) {
      Fail("the service was ended by force, if it had not ended by itself; it said:\n" +
           service->Kill());
    } else if (const std::string end = service->Stop(); !end.empty()) {
      Fail(end);
    }
    std::ofstream(wish_.out / "service.log", life == 1 ? std::ios::trunc : std::ios::app)
        << service->Errors();
  }

  void Work(const stress::ServiceUnderTest& service, unsigned life) {
    Remote remote(service.socket());
    remote.Restart();
    Load load({service.socket(), wish_.clients, wish_.seed + life, wish_.pause});
    remote.FailOneIn(wish_.failOneIn);
    const Clock::time_point begin = Clock::now();
    const auto end = begin + std::chrono::duration_cast<Clock::duration>(wish_.time / wish_.lives);
    Due restart(wish_.restart);
    Due burst(kBurst);
    Due dropLogs(kSay);
    std::uint64_t restarts = 0;
    while (Clock::now() < end && !stop_.WaitFor(TimeUntil(end))) {
      if (restart.Now()) {
        CheckRestarts(remote.Restart());
        ++restarts;
      }
      if (burst.Now()) {
        remote.Raise("event.soak.burst", kEventsInBurst);
      }
      if (dropLogs.Now()) {
        service.DropLogs();
      }
      Take(service, remote, load, life, begin, restarts);
    }
    remote.FailOneIn(0);
    load.Finish();
    CheckRestarts(remote.Restart());
    for (const std::string& fault : load.Faults()) {
      Fail(fault);
    }
  }

  // Until the next sample.
  [[nodiscard]] std::chrono::milliseconds TimeUntil(Clock::time_point end) const {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    return std::clamp(left, std::chrono::milliseconds(1), wish_.sample);
  }

  void CheckRestarts(std::uint64_t failures) {
    if (failures > badRestarts_) {
      Fail("a restart of the provider " + std::string(kRestarted) +
           " went wrong; service.log says how");
    }
    badRestarts_ = failures;
  }

  void Take(const stress::ServiceUnderTest& service, Remote& remote, Load& load, unsigned life,
            Clock::time_point begin, std::uint64_t restarts) {
    const auto now = Clock::now();
    Sample sample;
    sample.seconds = Seconds(now - begin_).count();
    sample.lifeSeconds = Seconds(now - begin).count();
    sample.life = life;
    const Remote::Figures figures = remote.ReadFigures();
    ReadMetrics(remote.Metrics(), sample);
    ReadProcess(service.process(), sample);
    const stress::Timings timings = load.TakeTimings();
    sample.memory = static_cast<double>(figures.memory) / kBytesInMiB;
    sample.median = timings.Within(0.5);
    sample.slow = timings.Within(0.99);
    sample.requests = before_.requests + static_cast<double>(load.requests());
    sample.generated = before_.generated + static_cast<double>(load.generated());
    sample.failed = before_.failed + static_cast<double>(figures.failed);
    sample.restarts = before_.restarts + static_cast<double>(restarts);
    samples_.push_back(sample);
    last_ = sample;
    csv_ << CsvLine(sample) << std::endl;
    if (say_.Now()) {
      Say(load.faultCount());
    }
  }

  void Say(std::uint64_t faults) const {
    Tell(MinutesText(last_.seconds) + " of " + MinutesText(wish_.time.count()) + "  " +
         NumberText(last_.resident) + " MiB, " + NumberText(last_.memory) + " in use, " +
         NumberText(last_.handles) + " handles, " + NumberText(last_.threads) + " threads, " +
         NumberText(last_.queue) + " waiting, answers " + NumberText(last_.median) + " / " +
         NumberText(last_.slow) + " ms, " + NumberText(last_.requests + last_.generated) +
         " requests, " + NumberText(last_.failed) + " calls failed, " + NumberText(last_.restarts) +
         " restarts, " + std::to_string(faultCount_ + faults) + " faults");
  }

  void Fail(const std::string& fault) {
    ++faultCount_;
    if (faults_.size() < kShownFaults) {
      faults_.push_back(fault);
    }
    Tell("fault: " + fault);
  }

  const Wish& wish_;
  ktsvc::StopSignal& stop_;
  std::ofstream csv_;
  const Clock::time_point begin_;
  Due say_;
  std::vector<Sample> samples_;
  Sample last_;
  Sample before_;  // the last of the life before
  std::uint64_t badRestarts_ = 0;
  bool broken_ = false;
  std::vector<std::string> faults_;
  std::uint64_t faultCount_ = 0;
};

}  // namespace

Verdict Run(const Wish& wish, ktsvc::StopSignal& stop) {
  std::filesystem::create_directories(wish.out);
  Verdict verdict = Soak(wish, stop).Do();
  std::ofstream(wish.out / "soak.json") << VerdictJson(verdict).dump(2) << "\n";
  std::ofstream(wish.out / "soak.txt") << VerdictText(verdict);
  if (!DrawPicture(wish.out / "soak.csv", wish.out / "soak.png", verdict.samples,
                   verdict.seconds)) {
    Tell("there is no picture: gnuplot (package gnuplot-nox) is not installed, or failed");
  }
  return verdict;
}

}  // namespace soak
