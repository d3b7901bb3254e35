#include <boost/asio/detail/socket_option.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "api/http_server.h"
#include "api/listener.h"

namespace ktsvc::api {
namespace {

using Tcp = boost::asio::ip::tcp;

constexpr const char* kForms = "It is written 127.0.0.1:PORT or [::1]:PORT.";

// "127.0.0.1:8080", "[::1]:8080".
std::optional<Tcp::endpoint> ParseEndpoint(std::string_view text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) {
    return std::nullopt;
  }
  std::string_view host = text.substr(0, colon);
  const std::string_view digits = text.substr(colon + 1);
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (bracketed) {
    host = host.substr(1, host.size() - 2);
  }
  std::uint16_t port = 0;
  const char* const end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, port);
  if (digits.empty() || read.ec != std::errc() || read.ptr != end) {
    return std::nullopt;
  }
  boost::system::error_code error;
  const auto address = boost::asio::ip::make_address(std::string(host), error);
  if (error || address.is_v6() != bracketed) {
    return std::nullopt;
  }
  return Tcp::endpoint(address, port);
}

bool IsThisMachine(const boost::asio::ip::address& address) {
  return address == boost::asio::ip::address_v4::loopback() ||
         address == boost::asio::ip::address_v6::loopback();
}

std::string Url(const Tcp::endpoint& endpoint) {
  const std::string host = endpoint.address().to_string();
  return "http://" + (endpoint.address().is_v6() ? "[" + host + "]" : host) + ":" +
         std::to_string(endpoint.port());
}

class TcpListener final : public Listener {
 public:
  explicit TcpListener(Tcp::acceptor acceptor)
      : acceptor_(std::move(acceptor)), where_(Url(acceptor_.local_endpoint())) {}

  void Accept(Accepted accepted) override {
    acceptor_.async_accept(
        [accepted = std::move(accepted)](boost::system::error_code error, Tcp::socket socket) {
          if (!error) {
            // Answers go out whole; waiting for more to fill a packet only delays them.
            boost::system::error_code ignored;
            static_cast<void>(socket.set_option(Tcp::no_delay(true), ignored));
          }
          accepted(error, Socket(std::move(socket)));
        });
  }

  void Close() noexcept override {
    boost::system::error_code ignored;
    static_cast<void>(acceptor_.close(ignored));
  }

  [[nodiscard]] std::string Where() const override { return where_; }
  [[nodiscard]] PeerKind peers() const noexcept override { return PeerKind::kToken; }

 private:
  Tcp::acceptor acceptor_;
  const std::string where_;
};

}  // namespace

std::unique_ptr<Listener> ListenOnLoopback(boost::asio::io_context& context,
                                           const std::string& where) {
  const auto endpoint = ParseEndpoint(where);
  if (!endpoint) {
    throw ListenError("cannot listen on \"" + where + "\": that is no address and port. " + kForms);
  }
  if (!IsThisMachine(endpoint->address())) {
    throw ListenError("will not listen on " + where +
                      ": only this machine itself may connect, by 127.0.0.1 or ::1. " + kForms);
  }
  boost::system::error_code error;
  Tcp::acceptor acceptor(context);
  const auto failed = [&] { return static_cast<bool>(error); };
  static_cast<void>(acceptor.open(endpoint->protocol(), error));
  if (!failed()) {
#ifdef _WIN32
    // There an address in use could otherwise be taken over by any program.
    const boost::asio::detail::socket_option::boolean<SOL_SOCKET, SO_EXCLUSIVEADDRUSE> alone(true);
    static_cast<void>(acceptor.set_option(alone, error));
#else
    static_cast<void>(acceptor.set_option(Tcp::acceptor::reuse_address(true), error));
#endif
  }
  if (!failed()) {
    static_cast<void>(acceptor.bind(*endpoint, error));
  }
  if (!failed()) {
    static_cast<void>(acceptor.listen(boost::asio::socket_base::max_listen_connections, error));
  }
  if (failed()) {
    throw ListenError("cannot listen on " + where + ": " + error.message());
  }
  return std::make_unique<TcpListener>(std::move(acceptor));
}

}  // namespace ktsvc::api
