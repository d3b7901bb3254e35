// HttpConnection: one client, from its first byte to the last. Of the transport alone.
//
// Requests are answered one after the other, in order, however many the client has sent ahead. A
// request for a stream is the last one of its connection, which carries the stream from there on.
//
// Threads:   the thread of input and output; the handlers run on a worker, and meanwhile nothing
//            else is done with the connection.
// Failure:   nothing is thrown but std::bad_alloc, which ends the connection.
// Ownership: what is under way keeps the connection. It tells the register when it ends.
#pragma once

#include <array>
#include <atomic>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "api/connection_places.h"
#include "api/http_server.h"
#include "api/http_stream.h"
#include "api/listener.h"
#include "api/worker_pool.h"

namespace ktsvc::api {

class HttpConnection;

// Who counts the connections.
class ConnectionRegister {
 public:
  ConnectionRegister() = default;
  virtual ~ConnectionRegister() = default;
  ConnectionRegister(const ConnectionRegister&) = delete;
  ConnectionRegister& operator=(const ConnectionRegister&) = delete;

  virtual void Enter(HttpConnection& connection) = 0;
  virtual void Leave(HttpConnection& connection) noexcept = 0;
};

// What all connections of a server share; it outlives them.
struct HttpShared {
  const HttpHandlers& handlers;
  const HttpLimits& limits;
  const access::TokenFile* tokens;
  StreamHub& hub;
  WorkerPool& readers;
  WorkerPool& senders;
  const std::atomic<bool>& refusesWork;
  ConnectionRegister& connections;
};

class HttpConnection final : public std::enable_shared_from_this<HttpConnection>,
                             public HttpStream::Carrier {
 public:
  // Without a place it is there to Refuse().
  HttpConnection(HttpShared shared, Socket socket, PeerKind peer,
                 std::optional<ConnectionPlaces::Place> place);
  ~HttpConnection() override;
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  // Serves the client. Keeps itself alive from here on.
  void Start();

  // Answers that there is no place for it, and closes.
  void Refuse(const ConnectionPlaces::Refusal& refusal);

  // Closes at once when it is idle, otherwise after the answer that is due; ends a stream.
  void Stop() noexcept;
  [[nodiscard]] bool Stopping() const noexcept { return stopping_; }

  // The connection as its stream sees it.
  std::shared_ptr<HttpStream::Carrier> Keep() override { return shared_from_this(); }
  void StreamDone() override { Goodbye(); }
  void StreamBroken() noexcept override { Close(); }

 private:
  using Body = boost::beast::http::string_body;
  using Error = boost::system::error_code;
  using Time = std::chrono::steady_clock::time_point;
  using Outcome = std::variant<Response, StreamHub::Selection>;

  enum class Stage : std::uint8_t { kIdle, kReading, kWorking, kAnswering, kStreaming, kGoodbye };

  void ReadNext();
  void ReadHeader();
  void OnHeader(Error error);
  void ReadBody();
  Error Parse(bool whole);
  void OnReadError(Error error);
  std::optional<Response> JudgeHeader();
  std::optional<Response> JudgeHost() const;
  std::optional<Response> JudgeToken();
  void Dispatch();
  Outcome TryWork(bool stream);  // on a worker, as Work()
  Outcome Work(bool stream);
  void OnWorked(Outcome outcome);

  void Answer(Response response, bool close);
  void OnAnswered(Error error, bool close);
  void Goodbye();
  void ReadGoodbye();
  void Close() noexcept;

  void Count(unsigned status) const;

  void StartStream(const StreamHub::Selection& selection);

  // Calls Expired() after that time unless it is armed or disarmed again before. A wait that is
  // under way is left alone when it ends before that time, and goes on from there: a request sets
  // the time anew several times, and next to never does it run out.
  void Arm(std::chrono::milliseconds time);
  void Disarm() noexcept;
  void Wait(Time until);
  void Expired();

  const HttpShared shared_;
  const PeerKind peer_;
  const std::optional<ConnectionPlaces::Place> place_;
  Socket socket_;
  boost::asio::steady_timer timer_;
  Time deadline_ = Time::max();  // none
  Time waiting_ = Time::max();   // for when the timer is set
  std::uint64_t waits_ = 0;      // to tell the last wait from those before it
  bool expired_ = false;
  Stage stage_ = Stage::kIdle;
  bool stopping_ = false;

  boost::beast::flat_buffer buffer_;
  std::optional<boost::beast::http::request_parser<Body>> parser_;
  std::optional<access::Caller> caller_;
  std::optional<boost::beast::http::response<Body>> answer_;

  std::optional<HttpStream> stream_;
  std::array<char, 4096> scrap_{};
};

}  // namespace ktsvc::api
