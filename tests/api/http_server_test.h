// A server with handlers of the test's own, and clients of it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "api/http_server.h"
#include "http_client.h"

namespace ktsvc::api {

inline const std::string kSecret = "0123456789abcdef0123456789abcdef";

class HttpServerTest : public testing::Test {
 protected:
  ~HttpServerTest() override {
    Release();
    server_.reset();
  }

  // Starts with the options; by default on loopback, with one token.
  void Start(HttpOptions options = {}) {
    if (options.socket.empty() && options.listen.empty()) {
      options.listen = "127.0.0.1:0";
    }
    options.tokens = std::make_shared<const access::TokenFile>(
        access::TokenFile::Parse("ci " + kSecret + "\n", "tokens"));
    server_ = std::make_unique<HttpServer>(Handlers(), std::move(options), hub_);
  }

  // Nothing is served there, and the error says so with these words.
  void ExpectNoListening(const std::string& where, const std::string& words) {
    HttpOptions options;
    options.listen = where;
    try {
      Start(std::move(options));
      ADD_FAILURE() << where;
    } catch (const ListenError& error) {
      EXPECT_NE(std::string(error.what()).find(words), std::string::npos)
          << where << ": " << error.what();
    }
  }

  HttpHandlers Handlers() {
    return {[this](const Request& request) { return Answer(request); },
            [](std::string_view target) { return target.rfind("/v1/stream", 0) == 0; },
            [](const Request& request) -> std::variant<StreamHub::Selection, Response> {
              if (request.target.find("refused") != std::string::npos) {
                return Response{403, "application/json", "{}", {}};
              }
              return StreamHub::Selection{{Topic::kTrace}, ""};
            },
            [this](unsigned status) {
              const std::lock_guard lock(mutex_);
              ++answered_[status];
            }};
  }

  // "/block" waits for Release(); all else is answered at once with what was asked.
  Response Answer(const Request& request) {
    if (request.target == "/block") {
      ++blocked_;
      released_.wait();
    }
    const std::lock_guard lock(mutex_);
    requests_.push_back(request);
    return {200,
            "text/plain",
            request.method + " " + request.target + " " + request.body + " for " +
                request.caller.Text(),
            {{"X-Seen", std::to_string(requests_.size())}}};
  }

  void Release() {
    if (!std::exchange(releasedAlready_, true)) {
      release_.set_value();
    }
  }

  void WaitUntilBlocked(int count) const {
    while (blocked_ < count) {
      std::this_thread::yield();
    }
  }

  [[nodiscard]] HttpClient Connect() const { return HttpClient::ByTcp(server_->Where().front()); }

  static std::string Words(const std::string& method, const std::string& target,
                           const std::string& headers = {}, const std::string& body = {}) {
    return method + " " + target + " HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer " +
           kSecret + "\r\n" + headers +
           (body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") +
           "\r\n" + body;
  }
  static std::string Get(const std::string& target, const std::string& headers = {}) {
    return Words("GET", target, headers);
  }

  [[nodiscard]] std::size_t Requests() const {
    const std::lock_guard lock(mutex_);
    return requests_.size();
  }

  // The answers of each status so far.
  [[nodiscard]] std::map<unsigned, int> Answered() const {
    const std::lock_guard lock(mutex_);
    return answered_;
  }

  static constexpr std::size_t kRing = 100;
  static constexpr std::size_t kQueue = 8;

  StreamHub hub_{{.ring = kRing, .queue = kQueue},
                 [](const std::string&, const std::string&) { return true; }};
  mutable std::mutex mutex_;
  std::vector<Request> requests_;
  std::map<unsigned, int> answered_;  // by status
  std::atomic<int> blocked_{0};
  std::promise<void> release_;
  const std::shared_future<void> released_{release_.get_future()};
  bool releasedAlready_ = false;
  std::unique_ptr<HttpServer> server_;
};

}  // namespace ktsvc::api
