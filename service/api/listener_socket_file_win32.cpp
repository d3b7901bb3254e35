#include "api/http_server.h"
#include "api/listener.h"

namespace ktsvc::api {

std::unique_ptr<Listener> ListenOnSocketFile(boost::asio::io_context& /*context*/,
                                             const std::filesystem::path& /*file*/) {
  throw ListenError(
      "there is no socket file on this system. Listen on 127.0.0.1:PORT, with tokens.");
}

access::Caller CallerOf(Socket::native_handle_type /*socket*/) {
  throw ListenError("callers are known by their tokens alone on this system.");
}

std::uint32_t PeerUser(Socket::native_handle_type /*socket*/) noexcept {
  return static_cast<std::uint32_t>(-1);
}

}  // namespace ktsvc::api
