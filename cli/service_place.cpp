#include "service_place.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "access/access_error.h"
#include "access/access_system.h"
#include "access/line_reader.h"
#include "access/secret.h"
#include "access/token_file.h"
#include "default_socket.h"
#include "exit_status.h"
#include "host_system.h"

namespace ktctl {
namespace {

// A value, and the option or variable that it comes from.
struct Given {
  std::string value;
  std::string from;
};

std::optional<Given> Find(const std::string& option, const char* optionName, const char* variable,
                          const Variables& variables) {
  if (!option.empty()) {
    return Given{option, optionName};
  }
  if (const std::optional<std::string> value = variables(variable)) {
    return Given{*value, variable};
  }
  return std::nullopt;
}

[[noreturn]] void Refuse(const std::string& why, const std::string& advice) {
  throw Refusal(kExitWrongWords, why, advice);
}

std::string ReadSecret(const Given& given) {
  const std::filesystem::path file = ktsvc::PathFromText(given.value);
  int status = kExitWrongWords;
  try {
    // What is there and cannot be read, or that others can, is not permitted.
    std::error_code ignored;
    if (std::filesystem::exists(file, ignored)) {
      status = kExitNotPermitted;
    }
    std::string text = ktsvc::access::ReadGuardedFile(
        file, ktsvc::access::FileGuard::kReadByOwnerOnly, ktsvc::access::kMaxTokenFileBytes);
    status = kExitWrongWords;
    std::string secret = SecretFromText(text, given.value);
    ktsvc::access::Wipe(text);
    return secret;
  } catch (const ktsvc::access::AccessError& error) {
    throw Refusal(status, given.from + ": " + error.what(), error.advice());
  }
}

}  // namespace

std::string Place::Text() const {
  return IsSocket() ? ktsvc::PathText(socket) : "http://" + HostHeader();
}

std::string Place::HostHeader() const {
  if (IsSocket()) {
    return "localhost";
  }
  const bool six = host.find(':') != std::string::npos;
  return (six ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

Place PlaceFromUrl(std::string_view url, const std::string& where) {
  constexpr std::string_view kScheme = "http://";
  const std::string shown = where + ": " + ktsvc::access::QuotedWord(url);
  const std::string form =
      "Write http://127.0.0.1:PORT, with the port that ktsvc told at its start.";
  std::string_view rest = url;
  if (rest.starts_with(kScheme)) {
    rest.remove_prefix(kScheme.size());
  } else if (rest.find("://") != std::string_view::npos) {
    Refuse(shown + " is no http:// address", form);
  }
  if (rest.ends_with('/')) {
    rest.remove_suffix(1);
  }
  const std::size_t colon = rest.rfind(':');
  if (colon == std::string_view::npos || rest.ends_with(']')) {
    Refuse(shown + " names no port", form);
  }
  const std::string_view digits = rest.substr(colon + 1);
  const char* const end = digits.data() + digits.size();
  Place place;
  const auto read = std::from_chars(digits.data(), end, place.port);
  if (read.ec != std::errc() || read.ptr != end || place.port == 0) {
    Refuse(shown + " names no port from 1 to 65535", form);
  }
  const std::string_view host = rest.substr(0, colon);
  if (host == "127.0.0.1" || host == "localhost") {
    place.host = "127.0.0.1";
  } else if (host == "[::1]") {
    place.host = "::1";
  } else {
    Refuse(shown + " is not on this machine, and the way there is not encrypted",
           "Forward a port of this machine to the other one (ssh -L) and name that.");
  }
  return place;
}

std::string SecretFromText(std::string_view text, const std::string& file) {
  ktsvc::access::LineReader lines(text, file);
  ktsvc::access::Line line;
  std::string secret;
  while (lines.Next(line)) {
    if (!secret.empty()) {
      throw ktsvc::access::AccessError(file, line.number, 0, "there is more than one token",
                                       "Put the one to use into a file of its own.");
    }
    if (line.words.size() > 2) {
      throw ktsvc::access::AccessError(file, line.number, line.words[2].column,
                                       "there is a word too many",
                                       "Write \"NAME SECRET\", or the secret alone.");
    }
    const ktsvc::access::Word& word = line.words.back();
    const auto isPlain = [](char unit) { return unit > ' ' && unit < '\x7F'; };
    if (word.text.size() > ktsvc::access::kMaxSecretLength ||
        !std::all_of(word.text.begin(), word.text.end(), isPlain)) {
      throw ktsvc::access::AccessError(file, line.number, word.column, "this is no secret",
                                       "A secret is hexadecimal or URL-safe base64.");
    }
    secret = std::string(word.text);
  }
  if (secret.empty()) {
    throw ktsvc::access::AccessError(file, 0, 0, "there is no token in the file",
                                     "Write \"NAME SECRET\", or the secret alone.");
  }
  return secret;
}

Connection FindConnection(const Options& options, const Variables& variables) {
  if (!options.socket.empty() && !options.url.empty()) {
    Refuse("--socket and --url name two services", "Leave one of them out.");
  }
  // An option for one of the two goes before the environment for the other.
  std::optional<Given> socket;
  std::optional<Given> url;
  if (options.url.empty()) {
    socket = Find(options.socket, "--socket", "KTCTL_SOCKET", variables);
  }
  if (options.socket.empty()) {
    url = Find(options.url, "--url", "KTCTL_URL", variables);
  }
  if (socket && url) {
    Refuse("KTCTL_SOCKET and KTCTL_URL name two services", "Unset one of them.");
  }
  Connection connection;
  if (socket) {
    if (!ktsvc::HasSocketFiles()) {
      Refuse(socket->from + " has no meaning on this system", "Use --url http://127.0.0.1:PORT.");
    }
    Place place;
    place.socket = ktsvc::PathFromText(socket->value);
    connection.places.push_back(place);
    return connection;
  }
  if (url) {
    connection.places.push_back(PlaceFromUrl(url->value, url->from));
    if (const std::optional<Given> token =
            Find(options.tokenFile, "--token-file", "KTCTL_TOKEN_FILE", variables)) {
      connection.secret = ReadSecret(*token);
    }
    return connection;
  }
  if (!options.tokenFile.empty()) {
    Refuse("--token-file has a meaning with --url only", "Name the service with --url too.");
  }
  for (const std::filesystem::path& file : ktsvc::SocketsToTry()) {
    Place place;
    place.socket = file;
    connection.places.push_back(place);
  }
  if (connection.places.empty()) {
    Refuse("nobody says where the service is",
           "Name it with --url http://127.0.0.1:PORT and --token-file FILE.");
  }
  return connection;
}

}  // namespace ktctl
