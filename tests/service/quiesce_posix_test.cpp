// The end of the whole program while clients still wait for controls.

#include <gtest/gtest.h>

#include <boost/asio/local/stream_protocol.hpp>
#include <csignal>
#include <nlohmann/json.hpp>
#include <vector>

#include "api/http_client.h"
#include "service/program.h"

namespace ktsvc_test {
namespace {

using Json = nlohmann::json;
using ktsvc::api::HttpClient;

constexpr int kControls = 8;

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

std::string LineWith(const std::string& text, const std::string& part) {
  const std::size_t at = text.find(part);
  return at == std::string::npos ? "" : text.substr(at, text.find('\n', at) - at);
}

// The program with a provider that holds what comes to it until the gate is opened.
class Quiesce : public testing::Test {
 protected:
  Program Start(std::vector<std::string> words = {}) {
    words.insert(words.begin(), {"--socket", socket_.string()});
    words.emplace_back("holding");
    return Program(RunWords(words), {{"KTSVC_TEST_GATE", gate_.string()}});
  }

  void OpenGate() const { static_cast<void>(folder_.Write("gate", "")); }

  [[nodiscard]] HttpClient Connect() const {
    boost::asio::local::stream_protocol::socket socket(HttpClient::Context());
    socket.connect({socket_.string()});
    return HttpClient(HttpClient::Socket(std::move(socket)));
  }

  static std::string Get(const std::string& target) {
    return "GET " + target + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
  }

  static std::string Post(const std::string& target, const std::string& body,
                          const std::string& header = "") {
    return "POST " + target + " HTTP/1.1\r\nHost: localhost\r\n" + header +
           "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
  }

  [[nodiscard]] std::string ControlsOfTheDisk() const {
    HttpClient client = Connect();
    const Json page = Json::parse(client.Ask(Get("/v1/objects?interface=disk")).body);
    return "/v1/objects/" + page["items"][0]["id"].get<std::string>() + "/controls";
  }

  [[nodiscard]] Json Provider() const {
    HttpClient client = Connect();
    return Json::parse(client.Ask(Get("/v1/providers")).body)["items"][0];
  }

  const ScratchFolder folder_;
  const std::filesystem::path socket_ = folder_.path() / "socket";
  const std::filesystem::path gate_ = folder_.path() / "gate";
};

TEST_F(Quiesce, NamesEightRunningControlsAndThenEndsInOrder) {
  Program program = Start();
  ASSERT_TRUE(program.WaitForError("serving 1 provider")) << program.Errors();
  const std::string controls = ControlsOfTheDisk();
  std::vector<HttpClient> clients;
  for (int i = 0; i < kControls; ++i) {
    clients.push_back(Connect());
    clients.back().Send(Post(
        controls, R"({"interface":"disk","selector":4,"code":)" + std::to_string(100 + i) + "}"));
  }
  ASSERT_TRUE(program.WaitForError("holding 8 controls")) << program.Errors();

  program.Signal(SIGTERM);
  const std::string words = "holding is waited for: 8 controls in flight: ";
  ASSERT_TRUE(program.WaitForError(words)) << program.Errors();
  const std::string line = LineWith(program.Errors(), words);
  EXPECT_EQ(CountOf(line, ", for user "), 8U) << line;
  EXPECT_EQ(CountOf(line, ", since 20"), 8U) << line;
  for (int i = 0; i < kControls; ++i) {
    EXPECT_EQ(CountOf(line, "control " + std::to_string(100 + i) +
                                " of interface disk, selector 4, on qelm_ktvm_disk {"),
              1U)
        << line;
  }
  EXPECT_NE(line.find("8 threads in its functions"), std::string::npos) << line;

  const Json stopping = Provider();
  EXPECT_EQ(stopping["state"], "stopping");
  EXPECT_EQ(stopping["activity"]["inFlight"].size(), 8U);
  EXPECT_EQ(stopping["waitsFor"][0].get<std::string>().rfind("8 controls in flight: ", 0), 0U)
      << stopping;
  HttpClient late = Connect();
  EXPECT_EQ(late.Ask(Post(controls, R"({"interface":"disk","code":1})")).status, 503U);

  OpenGate();
  for (HttpClient& client : clients) {
    EXPECT_EQ(client.Read().status, 200U);
  }
  const Result result = program.Wait();
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_NE(result.errors.find("holding is down after "), std::string::npos) << result.errors;
  EXPECT_NE(result.errors.find(" ms, nothing kept\n"), std::string::npos) << result.errors;
  EXPECT_NE(result.output.find("nothing kept"), std::string::npos) << result.output;
}

TEST_F(Quiesce, NamesTheNoticesInDelivery) {
  Program program = Start();
  ASSERT_TRUE(program.WaitForError("serving 1 provider")) << program.Errors();
  HttpClient client = Connect();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(client.Ask(Post("/v1/events", R"({"name":"event.test.hold"})")).status, 202U);
  }
  ASSERT_TRUE(program.WaitForError("holding a notice")) << program.Errors();
  EXPECT_EQ(Provider()["activity"]["queueDepth"], 3);
  program.Signal(SIGTERM);
  EXPECT_TRUE(program.WaitForError(
      "holding is waited for: 3 notices in delivery or waiting; 1 thread in its functions\n"))
      << program.Errors();
  OpenGate();
  EXPECT_EQ(program.Wait().status, 0);
}

TEST_F(Quiesce, NamesEachCallerWithItsOwnControl) {
  const std::string secret(43, 'a');
  const std::string other(43, 'b');
  const auto tokens = folder_.Write("tokens", "ada " + secret + "\nbob " + other + "\n");
  std::filesystem::permissions(tokens, std::filesystem::perms::owner_read);
  const auto access =
      folder_.Write("access", "token ada operator\ntoken bob operator\n" +
                                  ("user " + std::to_string(geteuid())) + " admin\n");
  Program program = Start({"--listen", "127.0.0.1:0", "--token-file", tokens.string(),
                           "--access-file", access.string()});
  ASSERT_TRUE(program.WaitForError("serving 1 provider")) << program.Errors();
  const std::string controls = ControlsOfTheDisk();
  const std::string where = LineWith(program.Errors(), "http://127.0.0.1:");
  std::vector<HttpClient> clients;
  for (const std::string& shown : {secret, other}) {
    clients.push_back(HttpClient::ByTcp(where));
    clients.back().Send(Post(controls, R"({"interface":"disk","code":7})",
                             "Authorization: Bearer " + shown + "\r\n"));
  }
  ASSERT_TRUE(program.WaitForError("holding 2 controls")) << program.Errors();
  program.Signal(SIGTERM);
  ASSERT_TRUE(program.WaitForError("holding is waited for: 2 controls in flight"));
  const std::string line = LineWith(program.Errors(), "holding is waited for: 2 controls");
  EXPECT_EQ(CountOf(line, ", for token ada, since "), 1U) << line;
  EXPECT_EQ(CountOf(line, ", for token bob, since "), 1U) << line;
  OpenGate();
  EXPECT_EQ(program.Wait().status, 0);
}

}  // namespace
}  // namespace ktsvc_test
