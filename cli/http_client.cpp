#include "http_client.h"

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <utility>

#include "exit_status.h"
#include "socket_file.h"

namespace ktctl {
namespace {

namespace http = boost::beast::http;
namespace net = boost::asio;
using Clock = std::chrono::steady_clock;
using Error = boost::system::error_code;
using Socket = net::generic::stream_protocol::socket;

constexpr int kHttp11 = 11;
constexpr std::chrono::seconds kLook{
    1};  // the time between two looks whether anybody still wants it

Endpoint EndpointOf(const Place& place) {
  if (place.IsSocket()) {
    return SocketFileEndpoint(place.socket);
  }
  return net::ip::tcp::endpoint(net::ip::make_address(place.host), place.port);
}

std::string StartAdvice(const Place& place) {
  return place.IsSocket()
             ? "Is ktsvc running there? ktsvc run hostkit blockdev --socket " + place.Text()
             : "Is ktsvc running there? ktsvc run hostkit blockdev --listen " + place.HostHeader() +
                   " --token-file FILE";
}

[[noreturn]] void RefuseConnection(const Place& place, const Error& error) {
  if (error == boost::system::errc::permission_denied ||
      error == boost::system::errc::operation_not_permitted) {
    throw Refusal(kExitNotPermitted,
                  "you may not connect to " + place.Text() + ": " + error.message(),
                  "Ask who runs the service, or try as another user.");
  }
  if (error == boost::system::errc::filename_too_long ||
      error == boost::system::errc::operation_not_supported) {
    throw Refusal(kExitWrongWords, place.Text() + " is no socket file: " + error.message());
  }
  throw Refusal(kExitNoService, "no service answers at " + place.Text() + ": " + error.message(),
                StartAdvice(place));
}

std::string Seconds(std::chrono::milliseconds time) {
  const auto tenths = time.count() / 100;
  return std::to_string(tenths / 10) + (tenths % 10 == 0 ? "" : "." + std::to_string(tenths % 10)) +
         " s";
}

}  // namespace

// ---- Exchange ----------------------------------------------------------------------------------

// One connection. Each of its operations is started, and then waited for on this thread until it
// ends or the time is over.
class HttpClient::Exchange {
 public:
  explicit Exchange(Wait wait) { SetWait(wait); }

  void SetWait(Wait wait) {
    wait_ = wait;
    deadline_ = wait ? std::optional(Clock::now() + *wait) : std::nullopt;
  }

  // What comes is of no use any more once this returns false.
  void SetWanted(std::function<bool()> wanted) { wanted_ = std::move(wanted); }

  Error Connect(const Place& place) {
    try {
      const Endpoint endpoint = EndpointOf(place);
      socket_ = Socket(context_);
      return Await([&](auto done) { socket_.async_connect(endpoint, done); });
    } catch (const boost::system::system_error& error) {
      return error.code();
    }
  }

  void Send(const Place& place, const HttpRequest& request, const std::string& secret) {
    place_ = place.Text();
    http::request<http::string_body> message(http::string_to_verb(request.method), request.target,
                                             kHttp11);
    message.set(http::field::host, place.HostHeader());
    message.set(http::field::user_agent, "ktctl/" KTCTL_VERSION);
    message.set(http::field::connection, "close");
    if (!secret.empty() && !place.IsSocket()) {
      message.set(http::field::authorization, "Bearer " + secret);
    }
    if (!request.lastEventId.empty()) {
      message.set("Last-Event-ID", request.lastEventId);
    }
    if (!request.body.empty()) {
      message.set(http::field::content_type, "application/json");
      message.body() = request.body;
    }
    message.prepare_payload();
    // A service that has answered already may have stopped reading: its answer says why.
    static_cast<void>(Await([&](auto done) {
      http::async_write(socket_, message,
                        [done](const Error& error, std::size_t) mutable { done(error); });
    }));
  }

  // The status line and the fields.
  void ReadHead() {
    parser_.emplace();
    parser_->body_limit(boost::none);
    Require(Await([&](auto done) {
      http::async_read_header(socket_, buffer_, *parser_,
                              [done](const Error& error, std::size_t) mutable { done(error); });
    }));
  }

  [[nodiscard]] HttpAnswer Head() const {
    const auto& message = parser_->get();
    const auto type = message[http::field::content_type];
    return {message.result_int(), std::string(type.data(), type.size()), {}};
  }

  // The next piece of the body; "" at its end, and when it is not wanted any more.
  std::string ReadPiece() {
    while (!parser_->is_done()) {
      auto& body = parser_->get().body();
      body.data = piece_.data();
      body.size = piece_.size();
      Error error = Await([&](auto done) {
        http::async_read_some(socket_, buffer_, *parser_,
                              [done](const Error& result, std::size_t) mutable { done(result); });
      });
      if (error == http::error::need_buffer) {
        error = {};
      }
      if (error == net::error::operation_aborted) {
        return {};
      }
      Require(error);
      if (const std::size_t size = piece_.size() - body.size; size != 0) {
        return {piece_.data(), size};
      }
    }
    return {};
  }

 private:
  // Starts the operation and waits for its end. One that is out of time is called off and counts as
  // timed out, one that nobody wants any more as aborted.
  template <typename Start>
  Error Await(Start start) {
    bool ended = false;
    Error result;
    start([&ended, &result](const Error& error) {
      ended = true;
      result = error;
    });
    context_.restart();
    while (!ended && (!deadline_ || Clock::now() < *deadline_) && (!wanted_ || wanted_())) {
      RunForAWhile();
    }
    if (!ended) {
      const bool late = deadline_ && Clock::now() >= *deadline_;
      // The operation speaks of this frame: it is called back before that goes.
      Error ignored;
      static_cast<void>(socket_.cancel(ignored));
      context_.restart();
      context_.run();
      return late ? net::error::timed_out : net::error::operation_aborted;
    }
    return result;
  }

  // Until the operation ends, the time is over, or it is time to look whether it is still wanted.
  void RunForAWhile() {
    if (wanted_) {
      const auto look = Clock::now() + kLook;
      context_.run_until(deadline_ ? std::min(look, *deadline_) : look);
    } else if (deadline_) {
      context_.run_until(*deadline_);
    } else {
      context_.run();
    }
  }

  void Require(const Error& error) {
    if (!error) {
      return;
    }
    if (error == net::error::timed_out && wait_) {
      throw Refusal(kExitNoService,
                    "the service at " + place_ + " has not answered within " + Seconds(*wait_),
                    "It may be busy, or hang; what was asked of it may still be done. --timeout 0 "
                    "waits without end.");
    }
    if (error.category() == Error(http::error::bad_version).category() &&
        error != http::error::end_of_stream && error != http::error::partial_message) {
      throw Refusal(kExitNoService,
                    "what answers at " + place_ + " is no ktsvc: " + error.message(),
                    "See which program listens there.");
    }
    throw Refusal(kExitNoService, "the service at " + place_ + " has hung up: " + error.message(),
                  "It may have ended; its own output says why.");
  }

  net::io_context context_;
  Socket socket_{context_};
  std::string place_;
  Wait wait_;
  std::optional<Clock::time_point> deadline_;
  std::function<bool()> wanted_;  // empty: always
  boost::beast::flat_buffer buffer_;
  std::optional<http::response_parser<http::buffer_body>> parser_;
  std::array<char, 16384> piece_{};
};

// ---- HttpClient --------------------------------------------------------------------------------

HttpClient::HttpClient(Connection connection) : connection_(std::move(connection)) {}

HttpClient::~HttpClient() = default;

const Place& HttpClient::place() const noexcept {
  return connection_.places[answered_.value_or(0)];
}

void HttpClient::Connect(Exchange& exchange) {
  std::optional<std::size_t> failed;
  Error reason;
  for (std::size_t i = answered_.value_or(0); i < connection_.places.size(); ++i) {
    const Error error = exchange.Connect(connection_.places[i]);
    if (!error) {
      answered_ = i;
      return;
    }
    // A file that is missing says the least about where the service should be.
    if (!failed || reason == boost::system::errc::no_such_file_or_directory) {
      failed = i;
      reason = error;
    }
  }
  RefuseConnection(connection_.places[failed.value_or(0)], reason);
}

HttpAnswer HttpClient::Ask(const HttpRequest& request, Wait wait) {
  Exchange exchange(wait);
  Connect(exchange);
  exchange.Send(place(), request, connection_.secret);
  exchange.ReadHead();
  HttpAnswer answer = exchange.Head();
  for (std::string piece = exchange.ReadPiece(); !piece.empty(); piece = exchange.ReadPiece()) {
    answer.body += piece;
  }
  return answer;
}

HttpAnswer HttpClient::Follow(const HttpRequest& request, Wait wait, Wait silence,
                              const std::function<bool(std::string_view piece)>& take,
                              const std::function<bool()>& wanted) {
  constexpr unsigned kOk = 200;
  Exchange exchange(wait);
  Connect(exchange);
  exchange.Send(place(), request, connection_.secret);
  exchange.ReadHead();
  HttpAnswer answer = exchange.Head();
  for (;;) {
    if (answer.status == kOk) {
      exchange.SetWait(silence);
      exchange.SetWanted(wanted);
    }
    const std::string piece = exchange.ReadPiece();
    if (piece.empty()) {
      return answer;
    }
    if (answer.status != kOk) {
      answer.body += piece;
    } else if (!take(piece)) {
      return answer;
    }
  }
}

}  // namespace ktctl
