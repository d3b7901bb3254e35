// HttpConnection: one client, from its first byte to the last. Of the transport alone.
//
// Requests are answered one after the other, in order, however many the client has sent ahead. A
// request for a stream is the last one of its connection.
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
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "api/http_server.h"
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

class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  HttpConnection(HttpShared shared, Socket socket, PeerKind peer);
  ~HttpConnection();
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  // Serves the client. Keeps itself alive from here on.
  void Start();

  // Answers that there are too many, and closes.
  void Refuse();

  // Closes at once when it is idle, otherwise after the answer that is due; ends a stream.
  void Stop() noexcept;
  [[nodiscard]] bool Stopping() const noexcept { return stopping_; }

 private:
  using Body = boost::beast::http::string_body;
  using Error = boost::system::error_code;
  using Outcome = std::variant<Response, StreamHub::Selection>;

  enum class Stage : std::uint8_t { kIdle, kReading, kWorking, kAnswering, kStreaming, kGoodbye };

  void ReadNext();
  void ReadHeader();
  void OnHeader(Error error);
  void ReadBody();
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

  void StartStream(const StreamHub::Selection& selection);
  void OnStreamHeader(Error error);
  void WatchClient();
  void Pump();
  void SendStream(bool last);
  void ArmComment();

  // Calls Expired() after that time unless it is armed or disarmed again before.
  void Arm(std::chrono::milliseconds time);
  void Disarm() noexcept;
  void Expired();

  const HttpShared shared_;
  const PeerKind peer_;
  Socket socket_;
  boost::asio::steady_timer timer_;
  std::uint64_t armed_ = 0;
  bool expired_ = false;
  Stage stage_ = Stage::kIdle;
  bool stopping_ = false;
  bool closed_ = false;

  boost::beast::flat_buffer buffer_;
  std::optional<boost::beast::http::request_parser<Body>> parser_;
  std::optional<access::Caller> caller_;
  std::optional<boost::beast::http::response<Body>> answer_;

  using StreamHead = boost::beast::http::response<boost::beast::http::empty_body>;
  std::optional<StreamHead> head_;
  std::optional<boost::beast::http::response_serializer<boost::beast::http::empty_body>>
      headWriter_;
  std::shared_ptr<StreamHub::Subscription> subscription_;
  boost::asio::steady_timer comment_;
  std::string sending_;
  bool writing_ = false;
  bool ended_ = false;
  std::array<char, 4096> scrap_{};
};

}  // namespace ktsvc::api
