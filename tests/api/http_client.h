// HttpClient: a client that sends what it is told, byte by byte if need be, and reads answers.
//
// Threads: one.
#pragma once

#include <boost/asio/connect.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>

namespace ktsvc::api {

class HttpClient {
 public:
  using Socket = boost::asio::generic::stream_protocol::socket;

  struct Answer {
    unsigned status = 0;
    std::string body;
    bool keepsAlive = false;
    boost::beast::http::fields headers;

    [[nodiscard]] std::string Header(std::string_view name) const {
      const auto value = headers[{name.data(), name.size()}];
      return {value.data(), value.size()};
    }
    // Of an error in JSON.
    [[nodiscard]] std::string Reason() const {
      return nlohmann::json::parse(body).at("error").at("reason").get<std::string>();
    }
  };

  // "http://127.0.0.1:PORT"
  static HttpClient ByTcp(const std::string& url) {
    const auto port = std::stoul(url.substr(url.rfind(':') + 1));
    boost::asio::ip::tcp::socket socket(Context());
    socket.connect({boost::asio::ip::address_v4::loopback(), static_cast<std::uint16_t>(port)});
    return HttpClient(Socket(std::move(socket)));
  }

  explicit HttpClient(Socket socket) : socket_(std::move(socket)) {}

  static boost::asio::io_context& Context() {
    static boost::asio::io_context context;
    return context;
  }

  // A server that has closed already takes nothing; what it said can still be read.
  void Send(std::string_view text) {
    boost::system::error_code ignored;
    boost::asio::write(socket_, boost::asio::buffer(text.data(), text.size()), ignored);
  }

  void EndSending() { socket_.shutdown(Socket::shutdown_send); }

  // The next answer; status 0 when the connection ends instead.
  Answer Read(bool toHead = false) {
    boost::beast::http::response_parser<boost::beast::http::string_body> parser;
    parser.skip(toHead);
    boost::system::error_code error;
    boost::beast::http::read(socket_, buffer_, parser, error);
    if (error) {
      return {};
    }
    auto message = parser.release();
    return {message.result_int(), message.body(), message.keep_alive(), message};
  }

  Answer Ask(std::string_view text) {
    Send(text);
    return Read();
  }

  // All up to and with the text, raw; "" when the connection ends before.
  std::string ReadUntil(const std::string& text) {
    boost::system::error_code error;
    const std::size_t size =
        boost::asio::read_until(socket_, boost::asio::dynamic_buffer(raw_), text, error);
    if (error) {
      return {};
    }
    std::string found = raw_.substr(0, size);
    raw_.erase(0, size);
    return found;
  }

  // All that comes until the server closes.
  std::string ReadToEnd() {
    boost::system::error_code error;
    boost::asio::read(socket_, boost::asio::dynamic_buffer(raw_), error);
    return std::move(raw_);
  }

  [[nodiscard]] Socket& socket() noexcept { return socket_; }

 private:
  Socket socket_;
  boost::beast::flat_buffer buffer_;
  std::string raw_;
};

}  // namespace ktsvc::api
