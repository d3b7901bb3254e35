#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include "socket_file.h"

namespace ktctl {

Endpoint SocketFileEndpoint(const std::filesystem::path& /*file*/) {
  throw boost::system::system_error(boost::asio::error::operation_not_supported);
}

}  // namespace ktctl
