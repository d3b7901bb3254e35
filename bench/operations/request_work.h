// The row "a client's request to the service and back": the texts that go over the wire.
#pragma once

#include <string>

namespace kt::bench {

inline std::string ControlRequest(const std::string& target) {
  const std::string body = R"({"interface":"system","code":11005,)"
                           R"("input":[{"name":"tracelevel","type":"UINT32","value":7}]})";
  return "POST " + target +
         " HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

// About what the service answers.
inline constexpr const char* kAnswerBody =
    R"({"status":{"code":0,"hex":"0x00000000","name":"OK","fails":false},)"
    R"("output":[{"name":"tracelevel","type":"UINT32","value":7}],"seconds":0.0001})";

}  // namespace kt::bench
