#include "stress/client.h"

#include <array>
#include <boost/asio/local/stream_protocol.hpp>
#include <thread>
#include <utility>

namespace stress {
namespace {

using ktsvc::api::HttpClient;

constexpr std::size_t kMaxErrors = 5;
constexpr const char* kEchoed = "0123456789abcdef0123456789abcdef0123456789abcdef";

}  // namespace

HttpClient Connect(const std::filesystem::path& socket) {
  boost::asio::local::stream_protocol::socket connected(HttpClient::Context());
  connected.connect({socket.string()});
  return HttpClient(HttpClient::Socket(std::move(connected)));
}

std::string GetText(std::string_view target) {
  return "GET " + std::string(target) + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
}

std::string PostText(std::string_view target, std::string_view body) {
  return "POST " + std::string(target) +
         " HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

Client::Client(const Field& field, unsigned number, bool lazy)
    : field_(field),
      lazy_(lazy),
      random_(number + 1),
      requests_(Connect(field.socket)),
      events_(Connect(field.socket)) {
  // By HTTP/1.0 the stream comes as it is, without chunks.
  events_.Send("GET /v1/stream?topics=events,alerts,trace,objects HTTP/1.0\r\n\r\n");
  const std::string head = events_.ReadUntil("\r\n\r\n");
  if (head.find(" 200 ") == std::string::npos) {
    Fail("the stream is refused: " + head.substr(0, head.find('\r')));
  }
}

void Client::Work() {
  while (!field_.done && !broken_) {
    Ask(Next());
    if (!lazy_ || field_.phase == 0) {
      ReadWhatIsThere();
    }
    if (field_.pause.count() != 0) {
      std::this_thread::sleep_for(field_.pause);
    }
  }
}

void Client::Drain() {
  std::array<char, 65536> bytes{};
  boost::system::error_code error;
  while (!reader_.Ended()) {
    const std::size_t got = events_.socket().read_some(boost::asio::buffer(bytes), error);
    if (error) {
      Fail("the stream ends: " + error.message());
      break;
    }
    reader_.Take({bytes.data(), got});
  }
  if (!reader_.fault().empty()) {
    Fail(reader_.fault());
  }
  drained_ = true;
}

void Client::HangUp() noexcept {
  boost::system::error_code ignored;
  for (HttpClient* const connection : {&requests_, &events_}) {
    connection->socket().shutdown(HttpClient::Socket::shutdown_both, ignored);
  }
}

Client::Request Client::Next() {
  const auto dice = random_() % 100;
  if (dice < 60) {
    return NextRead();
  }
  if (dice < 90) {
    return NextControl();
  }
  if (dice < 93) {
    return {
        PostText(
            "/v1/events",
            R"({"name":"event.stress.tick","properties":[{"name":"a","type":"UINT32","value":1}]})"),
        202, "event.stress.tick"};
  }
  return NextRefusal();
}

Client::Request Client::NextRead() {
  const std::string object = "/v1/objects/" + field_.disk;
  const std::array<Request, 8> all{{{GetText("/v1/health"), 200, "serving"},
                                    {GetText("/v1/providers"), 200, "\"hostkit\""},
                                    {GetText("/v1/types"), 200, "qelm_system"},
                                    {GetText("/v1/objects?limit=20"), 200, "\"items\""},
                                    {GetText(object), 200, field_.disk},
                                    {GetText(object + "/children"), 200, "\"items\""},
                                    {GetText("/v1/explain?action=read"), 200, "\"allowed\":true"},
                                    {GetText("/metrics"), 200, "ktsvc_info"}}};
  return all.at(random_() % all.size());
}

Client::Request Client::NextControl() {
  const std::string target = "/v1/objects/" + field_.disk + "/controls";
  const auto code = 1 + random_() % 6;
  if (code == 6) {
    return {PostText("/v1/objects/" + field_.system + "/controls",
                     R"({"interface":"system","code":11005,)"
                     R"("input":[{"name":"tracelevel","type":"UINT32","value":4}]})"),
            200, field_.failing ? "\"status\"" : "\"tracelevel\""};
  }
  std::string body = R"({"interface":"disk","code":)" + std::to_string(code);
  if (code == 1) {
    body += R"(,"input":[{"name":"text","type":"STR","value":")" + std::string(kEchoed) + "\"}]";
  }
  return {PostText(target, body + "}"), 200,
          field_.failing ? "\"status\""
          : code == 1    ? kEchoed
          : code == 4    ? "0x80070005"
                         : "0x00000000"};
}

Client::Request Client::NextRefusal() {
  ++refused_;
  const std::array<Request, 4> all{
      {{GetText("/v1/objects/00000000-0000-0000-0000-000000000001"), 404, "no object"},
       {GetText("/v1/nothing"), 404, "\"error\""},
       {PostText("/v1/events", R"({"name":)"), 400, "\"error\""},
       {PostText("/v1/objects/" + field_.disk + "/controls", R"({"interface":"volume","code":1})"),
        404, "0xC1000041"}}};
  return all.at(random_() % all.size());
}

void Client::Ask(const Request& request) {
  const int phase = field_.phase;
  const auto begin = std::chrono::steady_clock::now();
  const HttpClient::Answer answer = requests_.Ask(request.text);
  const auto time = std::chrono::steady_clock::now() - begin;
  if (field_.took) {
    field_.took(time);
  } else {
    timings_.at(static_cast<std::size_t>(phase)).Add(time);
  }
  if (answer.status == 0) {
    broken_ = true;
    Fail("the connection ended");
  } else if (answer.status != request.status ||
             answer.body.find(request.part) == std::string::npos) {
    Fail(request.text.substr(0, request.text.find('\r')) + " was answered with " +
         std::to_string(answer.status) + " " + answer.body.substr(0, 300));
  }
}

void Client::ReadWhatIsThere() {
  std::array<char, 65536> bytes{};
  boost::system::error_code error;
  while (events_.socket().available(error) != 0 && !error) {
    const std::size_t got = events_.socket().read_some(boost::asio::buffer(bytes), error);
    reader_.Take({bytes.data(), got});
  }
}

void Client::Fail(const std::string& what) {
  ++field_.errors;
  if (errors_.size() < kMaxErrors) {
    errors_.push_back(what);
  }
}

}  // namespace stress
