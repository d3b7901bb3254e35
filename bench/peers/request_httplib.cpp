// cpp-httplib as the server: the same request and answer, with nothing behind them.
#include <benchmark/benchmark.h>
#include <httplib.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "bench/operations/request_work.h"
#include "bench/support/child.h"
#include "bench/support/operation.h"

namespace kt::bench {
namespace {

class HttpLibrary {
 public:
  HttpLibrary() : socket_(folder_.File("socket")), request_(ControlRequest("/control")) {
    child_.emplace([this] {
      httplib::Server server;
      server.set_address_family(AF_UNIX);
      server.set_keep_alive_max_count(1'000'000'000);
      server.set_keep_alive_timeout(3'600);  // the connection waits while others are measured
      server.Post("/control", [](const httplib::Request& request, httplib::Response& response) {
        if (request.body.empty()) return;
        response.set_content(kAnswerBody, "application/json");
      });
      server.listen(socket_, 80);
    });
    connection_ = ConnectTo(socket_);
  }
  ~HttpLibrary() { close(connection_); }
  HttpLibrary(const HttpLibrary&) = delete;
  HttpLibrary& operator=(const HttpLibrary&) = delete;

  bool Works() {
    return ExchangeHttp(connection_, request_).find("tracelevel") != std::string::npos;
  }
  void Run() { benchmark::DoNotOptimize(ExchangeHttp(connection_, request_)); }

 private:
  Folder folder_;
  std::string socket_;
  std::string request_;
  std::optional<Child> child_;
  int connection_ = -1;
};

const bool entered = Add<HttpLibrary>("request/control/httplib", How{Clock::kWall});

}  // namespace
}  // namespace kt::bench
