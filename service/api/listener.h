// Listener: where connections come from. Of the transport alone.
//
// Threads: Accept() and Close() on the thread of input and output, or before it runs.
#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "access/caller.h"

namespace ktsvc::api {

using Socket = boost::asio::generic::stream_protocol::socket;

// How the peers of a listener are known.
enum class PeerKind : std::uint8_t { kCredentials, kToken };

class Listener {
 public:
  using Accepted = std::function<void(boost::system::error_code, Socket)>;

  virtual ~Listener() = default;
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // Takes the next connection.
  virtual void Accept(Accepted accepted) = 0;

  // Ends it; a waiting Accept() comes back with an error.
  virtual void Close() noexcept = 0;

  [[nodiscard]] virtual std::string Where() const = 0;
  [[nodiscard]] virtual PeerKind peers() const noexcept = 0;

 protected:
  Listener() = default;
};

// Both throw ListenError.
std::unique_ptr<Listener> ListenOnLoopback(boost::asio::io_context& context,
                                           const std::string& where);
// Not to be had on Windows, where it throws.
std::unique_ptr<Listener> ListenOnSocketFile(boost::asio::io_context& context,
                                             const std::filesystem::path& file);

// Who is at the other end of a connection of a socket file. It may ask a network for names. Throws
// std::exception.
access::Caller CallerOf(Socket::native_handle_type socket);

// The number of that user alone, at once; that of nobody when the kernel does not say.
std::uint32_t PeerUser(Socket::native_handle_type socket) noexcept;

}  // namespace ktsvc::api
