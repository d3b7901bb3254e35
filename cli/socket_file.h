// The address of a socket file, for Asio; socket_file_posix.cpp and socket_file_win32.cpp answer.
//
// Threads: any.
#pragma once

#include <boost/asio/generic/stream_protocol.hpp>
#include <filesystem>

namespace ktctl {

using Endpoint = boost::asio::generic::stream_protocol::endpoint;

// Throws boost::system::system_error: a name that is too long, or a system without socket files.
Endpoint SocketFileEndpoint(const std::filesystem::path& file);

}  // namespace ktctl
