#include "stress/run.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <thread>

#include "stress/crowd.h"
#include "stress/driver.h"
#include "stress/memory_watch.h"

namespace stress {
namespace {

constexpr std::size_t kShownErrors = 10;
constexpr const char* kMessages = "ktsvc_stream_messages_total";

void Print(const std::string& text) {
  static_cast<void>(std::printf("%s\n", text.c_str()));
  static_cast<void>(std::fflush(stdout));
}

// What is done now, for whoever waits; the results go to standard output.
void Tell(const std::string& text) {
  static_cast<void>(std::fprintf(stderr, "stress: %s\n", text.c_str()));
}

class Work {
 public:
  Work(const Wish& wish, const ServiceUnderTest& service)
      : wish_(wish), memory_(service.process()), driver_(service.socket()) {
    field_.socket = service.socket();
    field_.disk = driver_.IdOf("qelm_ktvm_disk");
    field_.system = driver_.IdOf("qelm_system");
    crowd_.emplace(field_, wish.clients, true);
  }

  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;
  Work(Work&&) = delete;
  Work& operator=(Work&&) = delete;
  ~Work() = default;

  std::vector<std::string> Do() {
    memory_.Mark("at the start");
    Tell(std::to_string(wish_.clients) + " clients work for " + std::to_string(wish_.time.count()) +
         " s");
    crowd_->Start();
    std::this_thread::sleep_for(wish_.time / 2);
    const std::uint64_t worked = memory_.Mark("when one stops reading");
    messagesBefore_ = driver_.Metric(kMessages);
    Tell("one of them stops reading its stream");
    field_.phase = 1;
    std::this_thread::sleep_for(wish_.time / 2);
    memory_.Mark("at the end of the work");
    Tell("the work is over: all read what waits for them");
    crowd_->Finish([this] { FillTheLazyOne(); });
    Report();
    Tell("the clients leave");
    crowd_->Leave();
    const std::uint64_t left = memory_.Mark("with all clients gone");
    Print("memory      " + memory_.Text());
    Judge(worked, left);
    return faults_;
  }

 private:
  // A short run does not bring enough for it to miss any of it. What waits for it in the service
  // (1024 messages) and in the system's buffers (some hundred thousand bytes) is less than that.
  void FillTheLazyOne() {
    constexpr std::uint64_t kEnough = 6000;       // of any size
    constexpr std::uint64_t kEnoughLarge = 2500;  // of these here
    const std::string large =
        R"({"name":"event.stress.fill","properties":[{"name":"a","type":"STR","value":")" +
        std::string(300, 'x') + "\"}]}";
    for (std::uint64_t raised = 0;
         raised < kEnoughLarge && driver_.Metric(kMessages) - messagesBefore_ < kEnough;) {
      for (int i = 0; i < 50; ++i, ++raised) {
        driver_.Raise(large);
      }
    }
  }

  // A long run has seen enough to say that memory and answers stay as they are. The bounds are
  // wide: the machine may have other work.
  void Judge(std::uint64_t worked, std::uint64_t left) {
    constexpr std::chrono::seconds kLong{60};
    if (wish_.time < kLong) {
      return;
    }
    if (left > 2 * worked) {
      faults_.push_back("the memory has grown from " + std::to_string(worked) +
                        " KiB at half time to " + std::to_string(left) +
                        " KiB with all clients gone");
    }
    if (medians_[1] > 2 * medians_[0]) {
      faults_.emplace_back(
          "answers take more than twice as long since one does not read its stream");
    }
  }

  void Report() {
    Timings before;
    Timings after;
    std::uint64_t refused = 0;
    std::uint64_t messages = 0;
    std::uint64_t othersGaps = 0;
    std::uint64_t othersLost = 0;
    std::size_t errors = 0;
    for (const auto& client : crowd_->clients()) {
      refused += client->refused();
      messages += client->stream().messages();
      errors += client->errors().size();
      for (const std::string& error : client->errors()) {
        if (faults_.size() < kShownErrors) {
          faults_.push_back(error);
        }
      }
      if (!client->lazy()) {
        before.Add(client->timings(0));
        after.Add(client->timings(1));
        othersGaps += client->stream().gaps();
        othersLost += client->stream().lost();
      }
    }
    const StreamReader& lazy = crowd_->clients().front()->stream();
    if (lazy.gaps() == 0) {
      faults_.emplace_back("who stopped reading its stream was not told of a gap");
    }
    medians_ = {before.Within(0.5), after.Within(0.5)};
    Print("all read    " + before.Text());
    Print("one is lazy " + after.Text());
    Print("asked for   " + std::to_string(refused) + " requests that must be refused");
    Print("streams     " + std::to_string(messages) + " messages read");
    Print("lazy one    told of " + std::to_string(lazy.gaps()) + " gaps, " +
          std::to_string(lazy.lost()) + " messages missed");
    Print("the others  told of " + std::to_string(othersGaps) + " gaps, " +
          std::to_string(othersLost) + " messages missed");
    Print("audit       " + std::to_string(driver_.Metric("ktsvc_audit_lost_total")) +
          " entries lost");
    Print("errors      " + std::to_string(errors));
  }

  const Wish& wish_;
  Field field_;
  MemoryWatch memory_;
  Driver driver_;
  std::optional<Crowd> crowd_;
  std::array<double, 2> medians_{};   // of the answers in ms, before and after one stops reading
  std::uint64_t messagesBefore_ = 0;  // published before one stopped reading
  std::vector<std::string> faults_;
};

}  // namespace

std::vector<std::string> Run(const Wish& wish) {
  ServiceUnderTest service(wish.build, {"hostkit", wish.build.BusyModule().string()}, {}, false);
  std::vector<std::string> faults = Work(wish, service).Do();
  Tell("the service stops");
  const std::string end = service.Stop();
  Print("the end     " + std::string(end.empty() ? "exit status 0, ledger empty" : "not well"));
  if (!end.empty()) {
    faults.push_back(end);
  }
  return faults;
}

}  // namespace stress
