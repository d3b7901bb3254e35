// The client against servers that are none of ours, or that are gone.

#include "cli/http_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <thread>

#include "cli_test.h"

namespace ktctl {
namespace {

namespace net = boost::asio;
using cli_test::MemoryConsole;
using cli_test::VariablesOf;
using testing::AllOf;
using testing::HasSubstr;

// Takes one connection, reads a request's header, says a text, and hangs up. With no text it says
// nothing until the client hangs up.
class OddServer {
 public:
  explicit OddServer(std::string text) : text_(std::move(text)), thread_([this] { Serve(); }) {}
  ~OddServer() { thread_.join(); }
  OddServer(const OddServer&) = delete;
  OddServer& operator=(const OddServer&) = delete;

  [[nodiscard]] std::string Url() const { return "http://127.0.0.1:" + std::to_string(port_); }

 private:
  void Serve() {
    net::ip::tcp::socket socket(context_);
    acceptor_.accept(socket);
    std::string request;
    boost::system::error_code ignored;
    net::read_until(socket, net::dynamic_buffer(request), "\r\n\r\n", ignored);
    if (!text_.empty()) {
      net::write(socket, net::buffer(text_), ignored);
      socket.shutdown(net::ip::tcp::socket::shutdown_send, ignored);
    }
    net::read_until(socket, net::dynamic_buffer(request), "never", ignored);
  }

  const std::string text_;
  net::io_context context_;
  net::ip::tcp::acceptor acceptor_{context_, {net::ip::address_v4::loopback(), 0}};
  const std::uint16_t port_ = acceptor_.local_endpoint().port();
  std::thread thread_;
};

struct Ended {
  int status = -1;
  std::string messages;
};

Ended RunAgainst(const std::string& text, std::vector<std::string> words) {
  const OddServer server(text);
  words.insert(words.end(), {"--url", server.Url()});
  MemoryConsole console;
  const int status = ktctl::Run(words, VariablesOf({}), console);
  return {status, console.messages};
}

std::string AnswerWith(const std::string& status, const std::string& body) {
  return "HTTP/1.1 " + status +
         "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

TEST(HttpClient, TellsAServerThatSpeaksNoHttpFromTheService) {
  const Ended ended = RunAgainst("220 mail ready\r\n", {"status"});
  EXPECT_EQ(ended.status, kExitNoService);
  EXPECT_THAT(ended.messages, HasSubstr("is no ktsvc"));
}

TEST(HttpClient, TellsAnotherHttpServerFromTheService) {
  for (const std::string& body : {std::string("<html>"), std::string("[]"), std::string()}) {
    const Ended ended = RunAgainst(AnswerWith("200 OK", body), {"status"});
    EXPECT_EQ(ended.status, kExitNoService) << body;
    EXPECT_THAT(ended.messages, HasSubstr("is no ktsvc"));
  }
  EXPECT_EQ(RunAgainst(AnswerWith("404 Not Found", "<html>"), {"status"}).status, kExitNoService);
}

TEST(HttpClient, SaysThatAnAnswerLacksWhatItShouldHave) {
  const Ended ended = RunAgainst(AnswerWith("200 OK", "{}"), {"status"});
  EXPECT_EQ(ended.status, kExitFailed);
  EXPECT_THAT(ended.messages, HasSubstr("of the same version?"));
}

TEST(HttpClient, SaysThatAnAnswerBrokeOff) {
  const Ended ended =
      RunAgainst("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"a\":", {"status"});
  EXPECT_EQ(ended.status, kExitNoService);
  EXPECT_THAT(ended.messages, HasSubstr("has hung up"));
}

TEST(HttpClient, WaitsNoLongerThanItWasTold) {
  const Ended ended = RunAgainst("", {"status", "--timeout", "0.05"});
  EXPECT_EQ(ended.status, kExitNoService);
  EXPECT_THAT(ended.messages, AllOf(HasSubstr("has not answered within"), HasSubstr("--timeout")));
}

TEST(HttpClient, SaysThatAStreamBrokeOff) {
  const OddServer server(
      "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nTransfer-Encoding: chunked\r\n\r\n"
      "4\r\n:\n\n\n\r\n");
  HttpClient http({{PlaceFromUrl(server.Url(), "")}, ""});
  std::string taken;
  EXPECT_THAT(cli_test::RefusalOf([&] {
                http.Follow(
                    {"GET", "/v1/stream", {}, {}}, std::nullopt, std::nullopt,
                    [&taken](std::string_view piece) {
                      taken += piece;
                      return true;
                    },
                    [] { return true; });
              }),
              testing::StartsWith("3 the service at " + server.Url() + " has hung up"));
  EXPECT_EQ(taken, ":\n\n\n");
}

TEST(HttpClient, EscapesWhatAServerSaysOfAnError) {
  const Ended ended = RunAgainst(
      AnswerWith(
          "404 Not Found",
          R"({"error":{"status":404,"reason":"no \u001b[31mtype","hint":null,"code":null}})"),
      {"status"});
  EXPECT_EQ(ended.status, kExitWrongWords);
  EXPECT_EQ(ended.messages, "ktctl: no \\x1b[31mtype\n");
}

TEST(HttpClient, SaysWhereNobodyListens) {
  std::uint16_t port = 0;
  {
    net::io_context context;
    const net::ip::tcp::acceptor taken(context, {net::ip::address_v4::loopback(), 0});
    port = taken.local_endpoint().port();
  }
  const std::string url = "http://127.0.0.1:" + std::to_string(port);
  MemoryConsole console;
  EXPECT_EQ(ktctl::Run({"status", "--url", url}, VariablesOf({}), console), kExitNoService);
  EXPECT_THAT(console.messages, AllOf(HasSubstr("no service answers at " + url),
                                      HasSubstr("Is ktsvc running there?")));
}

}  // namespace
}  // namespace ktctl
