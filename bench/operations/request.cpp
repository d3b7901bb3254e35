// A client's request to the service and back: a typed control, routed and answered, over one
// connection that is kept. Client and service share the CPU that the program is pinned to.
#include <benchmark/benchmark.h>

#include "bench/operations/request_work.h"

#include <sys/socket.h>
#include <unistd.h>

#include <optional>
#include <stdexcept>
#include <vector>

#include "bench/support/child.h"
#include "bench/support/operation.h"
#include "bench/support/service_program.h"

namespace kt::bench {
namespace {

class Service {
 public:
  Service() : connection_(ConnectTo(service_.socket())) {
    const std::string objects = ExchangeHttp(
        connection_, "GET /v1/objects?type=qelm_system HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const std::size_t at = objects.find("\"id\":\"{");
    if (at == std::string::npos) throw std::runtime_error("the service has no system object");
    request_ = ControlRequest("/v1/objects/" + objects.substr(at + 7, 36) + "/controls");
  }
  ~Service() { close(connection_); }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  bool Works() {
    ExchangeHttp(connection_, request_);
    const std::string answer = ExchangeHttp(connection_, request_);
    // The answer names the level before.
    return answer.find(" 200 ") != std::string::npos &&
           answer.find(R"("name":"tracelevel","type":"UINT32","value":7)") != std::string::npos;
  }
  void Run() { benchmark::DoNotOptimize(ExchangeHttp(connection_, request_)); }

 private:
  ServiceProgram service_;
  int connection_;
  std::string request_;
};

// As many bytes there and back, and nothing done with them.
class PingPong {
 public:
  PingPong()
      : request_(ControlRequest("/v1/objects/9452c1d7-9a89-4cdf-b3df-1ee1d7d002d9/controls")),
        answer_(300, 'a') {
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_.data()) != 0) {
      throw std::runtime_error("no socket pair");
    }
    child_.emplace([this] {
      close(ends_[0]);
      std::string bytes(request_.size(), ' ');
      for (;;) {
        ReceiveAll(ends_[1], bytes.data(), bytes.size());
        SendAll(ends_[1], answer_.data(), answer_.size());
      }
    });
    close(ends_[1]);
  }
  ~PingPong() { close(ends_[0]); }
  PingPong(const PingPong&) = delete;
  PingPong& operator=(const PingPong&) = delete;

  bool Works() {
    Run();
    return bytes_ == answer_;
  }
  void Run() {
    SendAll(ends_[0], request_.data(), request_.size());
    bytes_.resize(answer_.size());
    ReceiveAll(ends_[0], bytes_.data(), bytes_.size());
  }

 private:
  std::string request_;
  std::string answer_;
  std::string bytes_;
  std::array<int, 2> ends_{};
  std::optional<Child> child_;
};

constexpr How kHow{Clock::kWall};
const bool entered =
    Add<Service>("request/control/kt", kHow) && Add<PingPong>("request/control/floor", kHow);

}  // namespace
}  // namespace kt::bench
