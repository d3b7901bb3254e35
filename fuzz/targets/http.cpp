// Every byte that a client sends: through a real connection, its parser, and the real Api.
//
// Input: "S" for a client of the socket file or "T" for one over loopback, who shows a token; then
// what it sends, with @0 to @3 for the ids of objects. The client then ends its sending and reads
// to the end.

#include <sys/socket.h>

#include <atomic>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/write.hpp>
#include <memory>
#include <optional>
#include <string>

#include "api/http_connection.h"
#include "support/byte_source.h"
#include "support/require.h"
#include "support/service_bus.h"

namespace {

namespace net = boost::asio;
using kt::fuzz::Require;
using kt::fuzz::ServiceBus;
using ktsvc::api::HttpConnection;
using ktsvc::api::HttpHandlers;
using ktsvc::api::HttpLimits;
using ktsvc::api::HttpShared;
using ktsvc::api::PeerKind;
using ktsvc::api::Socket;

class Register final : public ktsvc::api::ConnectionRegister {
 public:
  void Enter(HttpConnection& /*connection*/) override { ++count; }
  void Leave(HttpConnection& /*connection*/) noexcept override { --count; }
  int count = 0;
};

// The far end: sends everything, says that this was all, and reads whatever comes.
class Client : public std::enable_shared_from_this<Client> {
 public:
  Client(Socket socket, std::string sent) : socket_(std::move(socket)), sent_(std::move(sent)) {}

  void Start() {
    net::async_write(socket_, net::buffer(sent_),
                     [self = shared_from_this()](boost::system::error_code, std::size_t) {
                       boost::system::error_code ignored;
                       static_cast<void>(self->socket_.shutdown(Socket::shutdown_send, ignored));
                     });
    Read();
  }

  [[nodiscard]] const std::string& answers() const { return answers_; }

 private:
  void Read() {
    socket_.async_read_some(
        net::buffer(piece_),
        [self = shared_from_this()](boost::system::error_code error, std::size_t count) {
          self->answers_.append(self->piece_.data(), count);
          if (!error) {
            self->Read();
            return;
          }
          boost::system::error_code ignored;
          static_cast<void>(self->socket_.close(ignored));
        });
  }

  Socket socket_;
  const std::string sent_;
  std::string answers_;
  std::array<char, 65536> piece_{};
};

// What a server has for all its connections; workers run until the process ends.
struct Server {
  HttpHandlers handlers{
      [](const ktsvc::api::Request& request) { return ServiceBus::Get().Ask(request); },
      [](std::string_view target) { return ktsvc::api::Api::IsStream(target); },
      [](const ktsvc::api::Request& request) { return ServiceBus::Get().AskForStream(request); }};
  HttpLimits limits;
  ktsvc::api::WorkerPool readers{1};
  ktsvc::api::WorkerPool senders{1};
  std::atomic<bool> refuses_work{false};
  Register connections;
  net::io_context context{1};
};

Socket Wrapped(net::io_context& context, int descriptor) {
  return {context, net::generic::stream_protocol(AF_UNIX, 0), descriptor};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Server& server = *new Server;
  const std::string input = kt::fuzz::TextOf(data, size);
  const bool by_token = input.empty() || input.front() == 'T';
  int ends[2] = {-1, -1};
  Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "a pair of sockets");

  server.context.restart();
  ServiceBus& bus = ServiceBus::Get();
  const HttpShared shared{server.handlers, server.limits,  &bus.tokens(),       bus.hub(),
                          server.readers,  server.senders, server.refuses_work, server.connections};
  std::make_shared<HttpConnection>(shared, Wrapped(server.context, ends[0]),
                                   by_token ? PeerKind::kToken : PeerKind::kCredentials,
                                   std::nullopt)
      ->Start();
  const auto client = std::make_shared<Client>(Wrapped(server.context, ends[1]),
                                               bus.WithIds(input.substr(input.empty() ? 0 : 1)));
  client->Start();
  server.context.run();

  Require(server.connections.count == 0, "the connection is gone when its client is");
  const std::string& answers = client->answers();
  Require(answers.empty() || answers.rfind("HTTP/1.", 0) == 0, "what is answered is HTTP");
  bus.Settle();
  return 0;
}
