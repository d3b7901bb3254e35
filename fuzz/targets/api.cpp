// One request to the management API, as the transport hands it over: path, query, body, and a
// caller of each role.
//
// Input: a digit, who asks; then "METHOD TARGET", a line feed, and the body. @0 to @3 stand for the
// ids of objects.

#include <unistd.h>

#include <string>

#include "access/caller_for_tests.h"
#include "support/byte_source.h"
#include "support/require.h"
#include "support/service_bus.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using ktsvc::access::CallerForTests;
  kt::fuzz::ServiceBus& bus = kt::fuzz::ServiceBus::Get();
  const std::string input = bus.WithIds(kt::fuzz::TextOf(data, size));
  const std::string line = input.substr(0, input.find('\n'));
  const std::size_t blank = line.find(' ');
  const auto caller = [&] {
    switch (input.empty() ? '0' : input.front()) {
      case '1':
        return CallerForTests::Token("ci");
      case '2':
        return CallerForTests::Token("reader");
      case '3':
        return CallerForTests::Token("nobody");
      default:
        return CallerForTests::Peer("admin", static_cast<std::uint32_t>(getuid()));
    }
  }();
  ktsvc::api::Request request{
      line.substr(line.empty() ? 0 : 1, blank == std::string::npos ? blank : blank - 1),
      blank == std::string::npos ? std::string() : line.substr(blank + 1), "application/json",
      line.size() < input.size() ? input.substr(line.size() + 1) : std::string(), caller};
  // As the transport has it: a GET of the stream's path asks for a stream, all else for an answer.
  if (request.method == "GET" && ktsvc::api::Api::IsStream(request.target)) {
    static_cast<void>(bus.AskForStream(request));
  } else {
    kt::fuzz::Require(bus.Ask(request).status != 401, "who is known is not asked for a token");
  }
  bus.Settle();
  return 0;
}
