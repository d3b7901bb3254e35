#include "stress/run.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "service/program.h"
#include "stress/client.h"
#include "stress/memory_watch.h"

namespace stress {
namespace {

using Json = nlohmann::json;
using ktsvc::api::HttpClient;
using ktsvc_test::Program;
using ktsvc_test::Result;
using ktsvc_test::ScratchFolder;

constexpr std::chrono::milliseconds kPause{20};
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

// Who asks for the run itself. Each request has a connection of its own: one that waited while the
// clients work would be closed for being idle.
class Driver {
 public:
  explicit Driver(std::filesystem::path socket) : socket_(std::move(socket)) {}

  // The body. Throws std::runtime_error for an answer that is no success.
  [[nodiscard]] std::string Ask(const std::string& request) const {
    const HttpClient::Answer answer = Connect(socket_).Ask(request);
    if (answer.status < 200 || answer.status > 299) {
      throw std::runtime_error(request.substr(0, request.find('\r')) + " was answered with " +
                               std::to_string(answer.status) + " " + answer.body);
    }
    return answer.body;
  }

  void Raise(const std::string& event) const {
    static_cast<void>(Ask(PostText("/v1/events", event)));
  }

  [[nodiscard]] std::string IdOf(const std::string& type) const {
    const Json page = Json::parse(Ask(GetText("/v1/objects?type=" + type)));
    return page.at("items").at(0).at("id").get<std::string>();
  }

  [[nodiscard]] std::uint64_t Metric(const std::string& name) const {
    const std::string text = Ask(GetText("/metrics"));
    const std::size_t at = text.find("\n" + name + " ");
    if (at == std::string::npos) {
      throw std::runtime_error("the metrics have no " + name);
    }
    return std::stoull(text.substr(at + name.size() + 2));
  }

 private:
  std::filesystem::path socket_;
};

class Work {
 public:
  Work(const Wish& wish, const std::filesystem::path& socket, std::intptr_t process)
      : wish_(wish), memory_(process), driver_(socket) {
    field_.socket = socket;
    field_.disk = driver_.IdOf("qelm_ktvm_disk");
    field_.system = driver_.IdOf("qelm_system");
    for (std::size_t i = 0; i < wish.clients; ++i) {
      clients_.push_back(std::make_unique<Client>(field_, static_cast<unsigned>(i), i == 0));
    }
  }

  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;
  Work(Work&&) = delete;
  Work& operator=(Work&&) = delete;

  // Before the end of Do() where a request of the driver failed.
  ~Work() {
    field_.done = true;
    for (const auto& client : clients_) {
      client->HangUp();
    }
    Join();
  }

  std::vector<std::string> Do() {
    memory_.Mark("at the start");
    Tell(std::to_string(clients_.size()) + " clients work for " +
         std::to_string(wish_.time.count()) + " s");
    for (const auto& client : clients_) {
      threads_.emplace_back([&client] { client->Work(); });
    }
    std::this_thread::sleep_for(wish_.time / 2);
    const std::uint64_t worked = memory_.Mark("when one stops reading");
    messagesBefore_ = driver_.Metric(kMessages);
    Tell("one of them stops reading its stream");
    field_.phase = 1;
    std::this_thread::sleep_for(wish_.time / 2);
    memory_.Mark("at the end of the work");
    field_.done = true;
    Tell("the work is over: all read what waits for them");
    Join();
    Drain();
    Report();
    Tell("the clients leave");
    clients_.clear();
    WaitUntilGone();
    const std::uint64_t left = memory_.Mark("with all clients gone");
    Print("memory      " + memory_.Text());
    Judge(worked, left);
    return faults_;
  }

 private:
  void Join() {
    for (std::thread& thread : threads_) {
      thread.join();
    }
    threads_.clear();
  }

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

  // All read on, the lazy one when enough has come that it has missed some. The end is raised again
  // and again, for who is full when it comes misses it.
  void Drain() {
    for (const auto& client : clients_) {
      if (!client->lazy()) {
        threads_.emplace_back([&client] { client->Drain(); });
      }
    }
    FillTheLazyOne();
    threads_.emplace_back([this] { clients_.front()->Drain(); });
    const std::string end = std::string(R"({"name":")") + StreamReader::kEnd + "\"}";
    const auto isDrained = [](const auto& client) { return client->Drained(); };
    while (!std::all_of(clients_.begin(), clients_.end(), isDrained)) {
      driver_.Raise(end);
      std::this_thread::sleep_for(kPause);
    }
    Join();
  }

  void WaitUntilGone() {
    while (driver_.Metric("ktsvc_stream_subscribers") != 0) {
      std::this_thread::sleep_for(kPause);
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
    for (const auto& client : clients_) {
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
    const StreamReader& lazy = clients_.front()->stream();
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
  std::vector<std::unique_ptr<Client>> clients_;
  std::vector<std::thread> threads_;
  std::array<double, 2> medians_{};   // of the answers in ms, before and after one stops reading
  std::uint64_t messagesBefore_ = 0;  // published before one stopped reading
  std::vector<std::string> faults_;
};

}  // namespace

std::vector<std::string> Run(const Wish& wish) {
  const ScratchFolder folder;
  const std::filesystem::path socket = folder.path() / "socket";
  ktsvc_test::Environment environment = ktsvc_test::HarmlessServices(folder);
  environment["KT_REGISTRY"] = folder.path().string();
  Program program(
      {"run", "--socket", socket.string(), "--audit-log", (folder.path() / "audit").string(),
       "--module-folder", wish.modules.string(), "hostkit", wish.module.string()},
      environment, wish.service);
  if (!program.WaitForError("serving 2 providers")) {
    return {"the service does not start: " + program.Errors()};
  }
  std::vector<std::string> faults = Work(wish, socket, program.Number()).Do();
  Tell("the service stops");
  program.Signal(SIGTERM);
  const Result result = program.Wait();
  Print("the end     exit status " + std::to_string(result.status) + ", ledger " +
        (result.output.find("nothing kept") == std::string::npos ? "not empty" : "empty"));
  if (result.status != 0 || result.output.find("nothing kept") == std::string::npos) {
    faults.push_back("the service did not end well:\n" + result.output + result.errors);
  }
  return faults;
}

}  // namespace stress
