// HttpServer: HTTP/1.1 over a Unix-domain socket and over TCP on this machine.
//
// Who asks is taken from the connection: over the socket from the peer's credentials, over TCP from
// the bearer token that each request shows. A request over TCP must also name this machine as its
// host, so that a page in a browser cannot reach the service under a name of its own.
//
// What is asked, others decide: the handlers. They run on worker threads; requests that change
// something have threads of their own, so that reading goes on however long a control takes.
//
// Threads:   one for input and output, and the workers. Members from any thread; Stop() and the
//            destructor not from a handler.
// Failure:   the constructor throws ListenError when it cannot listen. Afterwards nothing is
//            thrown: what a client does wrong is answered with a 4xx and a reason, as is what runs
//            into a limit, and concerns that client alone.
// Ownership: the hub is lent and must outlive the server.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "access/token_file.h"
#include "api/connection_places.h"
#include "api/message.h"
#include "api/stream_hub.h"

namespace ktsvc::api {

// A sentence or two: where, why not, and what to do.
class ListenError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Each is called on worker threads, on several at once, and must not throw.
struct HttpHandlers {
  std::function<Response(const Request&)> answer;

  // Whether the target is that of a stream. Called on the thread of input and output: it must not
  // wait.
  std::function<bool(std::string_view target)> isStream;

  // For a GET of a stream's target: what to stream, or a Response that goes out as it is.
  std::function<std::variant<StreamHub::Selection, Response>(const Request&)> openStream;

  // The status of every answer, those that the server gives by itself and the heads of streams
  // included. On the thread of input and output: it must not wait. May be empty.
  std::function<void(unsigned status)> answered{};
};

struct HttpLimits {
  std::size_t bodyBytes = std::size_t{1024} * 1024;  // more: 413
  std::size_t headerBytes = std::size_t{16} * 1024;  // more: 431
  std::size_t connections = 512;                     // more: 503, as for the next three
  std::size_t connectionsOfUser = 128;               // of a user that is not `reservedFor`
  std::size_t connectionsOverLoopback = 256;         // where there is a socket file too
  std::size_t connectionsReserved = 64;              // of all, where there is a socket file
  std::chrono::milliseconds request{10'000};         // from its first byte to its last; more: 408
  std::chrono::milliseconds idle{60'000};            // between requests; more: closed
  std::chrono::milliseconds write{30'000};           // for an answer to be taken; more: closed
  std::chrono::milliseconds goodbye{1'000};          // for the peer to close after the last answer
  std::chrono::milliseconds streamComment{15'000};   // a stream is never silent for longer
  std::size_t readers = 4;                           // threads for GET and HEAD at most
  std::size_t senders = 64;                          // threads for everything else at most
};

struct HttpOptions {
  // The Unix-domain socket; empty for none. The file of a service that is gone is replaced. It is
  // open to every user, since the handlers decide who may do what; its folder must be one in which
  // nobody but root and the service's user can replace it.
  std::filesystem::path socket;

  // "127.0.0.1:PORT" or "[::1]:PORT", port 0 for any free one; empty for none.
  std::string listen;
  std::shared_ptr<const access::TokenFile> tokens;  // who may come by `listen`; null for nobody

  // Users who may have every connection over the socket file, and for whom some are kept.
  std::vector<std::uint32_t> reservedFor = UsersOfTheService();

  HttpLimits limits;
};

class HttpServer {
 public:
  // Listens and serves when it returns.
  HttpServer(HttpHandlers handlers, HttpOptions options, StreamHub& hub);

  // Stop().
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Where it listens, as people write it: the socket's path, "http://127.0.0.1:8080".
  [[nodiscard]] std::vector<std::string> Where() const;

  // From now on requests that would change something are answered 503. Reading and streams go on,
  // so that the end of the service can be watched.
  void RefuseWork() noexcept;

  // Accepts nothing more, answers what runs, ends the streams, closes what is idle, and waits for
  // all that. The second call does nothing.
  void Stop() noexcept;

  [[nodiscard]] std::size_t Connections() const;

 private:
  class State;
  const std::unique_ptr<State> state_;
};

}  // namespace ktsvc::api
