#include <boost/asio/local/stream_protocol.hpp>

#include "socket_file.h"

namespace ktctl {

Endpoint SocketFileEndpoint(const std::filesystem::path& file) {
  return boost::asio::local::stream_protocol::endpoint(file.native());
}

}  // namespace ktctl
