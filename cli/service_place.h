// Where the service is asked: the options, the environment, and the usual places.
//
// An option goes before the environment, and the environment before the usual places. The secret of
// a token is only ever sent to this machine: other hosts are refused, whoever names them.
//
// Threads: pure functions, but for the token's file, which is read.
// Failure: Refusal (kExitWrongWords for what makes no sense, kExitNotPermitted for a token's file
//          that others can read).
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "options.h"

namespace ktctl {

// One way to the service: a socket file, or else an address of the loopback.
struct Place {
  std::filesystem::path socket;
  std::string host;  // "127.0.0.1", "::1"
  std::uint16_t port = 0;

  [[nodiscard]] bool IsSocket() const noexcept { return !socket.empty(); }
  // As people write it: "/run/ktsvc/ktsvc.sock", "http://127.0.0.1:8230".
  [[nodiscard]] std::string Text() const;
  // The same place as the header Host names it.
  [[nodiscard]] std::string HostHeader() const;
};

struct Connection {
  std::vector<Place> places;  // the first that answers is taken
  std::string secret;         // of the token; "" for none
};

// "http://127.0.0.1:8230", "http://[::1]:8230", "http://localhost:8230", with or without "http://"
// and a '/' at the end. `where` is the option or variable that it comes from.
Place PlaceFromUrl(std::string_view url, const std::string& where);

// The secret in a token file's text: the one word, or the second of two ("NAME SECRET"), of the one
// line that has any. Nothing of the text stands in a message. `file` is the name in messages.
std::string SecretFromText(std::string_view text, const std::string& file);

Connection FindConnection(const Options& options, const Variables& variables);

}  // namespace ktctl
