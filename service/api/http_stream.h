// HttpStream: a subscriber's stream on its connection, from the head of the answer to its end. Of
// the transport alone.
//
// Threads:   the thread of input and output.
// Failure:   nothing is thrown but std::bad_alloc, which ends the connection.
// Ownership: the carrier owns the stream and lends it the socket. What is under way keeps the
//            carrier.
#pragma once

#include <array>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/serializer.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "api/listener.h"
#include "api/stream_hub.h"

namespace ktsvc::api {

// What every answer's head says beside its content.
template <bool isRequest, typename Body>
void SetCommonFields(boost::beast::http::message<isRequest, Body>& message) {
  message.set(boost::beast::http::field::server, "ktsvc");
  message.set(boost::beast::http::field::cache_control, "no-store");
  message.set("X-Content-Type-Options", "nosniff");
}

inline constexpr unsigned kHttp11 = 11;

class HttpStream {
 public:
  // The connection that the stream is on.
  class Carrier {
   public:
    virtual ~Carrier() = default;
    Carrier(const Carrier&) = delete;
    Carrier& operator=(const Carrier&) = delete;

    // An owner of the connection.
    virtual std::shared_ptr<Carrier> Keep() = 0;

    // All has been sent: the connection says goodbye.
    virtual void StreamDone() = 0;

    // The client has gone: the connection closes.
    virtual void StreamBroken() noexcept = 0;

   protected:
    Carrier() = default;
  };

  // The stream is never silent for longer than `comment`.
  HttpStream(Carrier& carrier, Socket& socket, std::chrono::milliseconds comment);
  HttpStream(const HttpStream&) = delete;
  HttpStream& operator=(const HttpStream&) = delete;
  ~HttpStream() = default;

  // Subscribes and sends; once. `version` is the request's, 10 or 11.
  void Start(StreamHub& hub, const StreamHub::Selection& selection,
             std::optional<std::uint64_t> lastEventId, unsigned version);

  // Sends what is there, and then it is done.
  void Stop();

  // The socket is being closed: nothing more is done.
  void Close() noexcept;

 private:
  using Error = boost::system::error_code;

  [[nodiscard]] bool Over() const noexcept { return closed_ || done_; }
  void OnHead(Error error);
  void WatchClient();
  void Pump();
  void Send(bool last);
  void OnSent(Error error);
  void ArmComment();

  Carrier& carrier_;
  Socket& socket_;
  const std::chrono::milliseconds silence_;
  boost::asio::steady_timer comment_;

  using Empty = boost::beast::http::empty_body;
  std::optional<boost::beast::http::response<Empty>> head_;
  std::optional<boost::beast::http::response_serializer<Empty>> headWriter_;
  std::shared_ptr<StreamHub::Subscription> subscription_;
  std::string sending_;
  bool writing_ = false;
  bool stopping_ = false;
  bool ending_ = false;  // the last write is under way
  bool done_ = false;    // and has been done
  bool closed_ = false;
  std::array<char, 4096> scrap_{};
};

}  // namespace ktsvc::api
