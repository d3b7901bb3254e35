// What the suites of ktctl share: a console in memory, a refusal that is expected, and the whole
// client against the real server on a bus with one provider.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "access/temporary_folder.h"
#include "access/token_file.h"
#include "api/api_test.h"
#include "api/http_server.h"
#include "cli/console.h"
#include "cli/exit_status.h"
#include "cli/run.h"

namespace cli_test {

using ktctl::Json;

class MemoryConsole final : public ktctl::Console {
 public:
  // Takes so many writes, and is then a reader that has gone.
  void TakeOnly(std::size_t writes) { left_ = writes; }
  void BeTerminal(std::size_t width) { terminal_ = {true, true, true, width}; }

  bool Write(const std::string& text) override {
    output += text;
    return left_ == 0 || --left_ != 0;
  }
  // A reader that goes while nothing is written.
  void LoseReader() { readerGone_ = true; }
  [[nodiscard]] bool ReaderGone() const override { return readerGone_; }
  void Say(const std::string& lines) override { messages += lines; }
  [[nodiscard]] ktctl::Terminal terminal() const override { return terminal_; }

  std::string output;
  std::string messages;

 private:
  ktctl::Terminal terminal_;
  std::size_t left_ = 0;  // 0: without end
  std::atomic<bool> readerGone_{false};
};

using Environment = std::map<std::string, std::string>;

inline ktctl::Variables VariablesOf(Environment environment) {
  return [environment = std::move(environment)](const std::string& name) {
    const auto found = environment.find(name);
    return found == environment.end() ? std::nullopt : std::optional(found->second);
  };
}

// What a refusal says, "STATUS what | advice"; "" when there is none.
template <typename Do>
std::string RefusalOf(Do act) {
  try {
    act();
  } catch (const ktctl::Refusal& refusal) {
    return std::to_string(refusal.status()) + " " + refusal.what() + " | " + refusal.advice();
  }
  return "";
}

// The bus of the API's suites behind the real server on loopback. Tokens: "reader" is observer,
// "doer" operator, "boss" admin, "guest" nobody.
class CliTest : public api_test::ApiTest {
 protected:
  struct Ended {
    int status = -1;
    std::string output;
    std::string messages;

    [[nodiscard]] Json Document() const { return Json::parse(output, nullptr, false); }
  };

  void SetUp() override {
    ApiTest::SetUp();
    Begin(false);
  }

  void TearDown() override {
    server_.reset();
    ApiTest::TearDown();
  }

  // Begins anew; with it, controls may restart the machine.
  void Begin(bool allowRestart) {
    server_.reset();
    UsePolicy(
        "token reader observer\ntoken doer operator\ntoken boss admin\ncontrol disk * 9000 admin\n",
        allowRestart);
    ktsvc::api::HttpOptions options;
    options.listen = "127.0.0.1:0";
    std::string tokens;
    for (const char* name : {"reader", "doer", "boss", "guest"}) {
      tokens.append(name).append(" ").append(SecretOf(name)).append("\n");
    }
    options.tokens = std::make_shared<const ktsvc::access::TokenFile>(
        ktsvc::access::TokenFile::Parse(tokens, "tokens"));
    server_ = std::make_unique<ktsvc::api::HttpServer>(Handlers(), std::move(options), hub());
  }

  ktsvc::api::HttpHandlers Handlers() {
    return {[this](const ktsvc::api::Request& request) { return api().Answer(request); },
            [](std::string_view target) { return ktsvc::api::Api::IsStream(target); },
            [this](const ktsvc::api::Request& request) { return api().OpenStream(request); }};
  }

  static std::string SecretOf(const std::string& name) { return name + std::string(40, '0'); }

  [[nodiscard]] std::string Url() const { return server_->Where().front(); }

  [[nodiscard]] Environment Surroundings(const std::string& token) const {
    return {{"KTCTL_URL", Url()},
            {"KTCTL_TOKEN_FILE", folder_.File(token, SecretOf(token) + "\n").string()}};
  }

  // Runs the client with these words as the holder of that token.
  Ended RunAs(const std::string& token, const std::vector<std::string>& words) {
    return RunWith(words, token, MakeConsole());
  }
  Ended Do(const std::vector<std::string>& words) { return RunAs("boss", words); }

  Ended RunWith(const std::vector<std::string>& words, const std::string& token,
                std::unique_ptr<MemoryConsole> console) {
    const int status = ktctl::Run(words, VariablesOf(Surroundings(token)), *console);
    return {status, console->output, console->messages};
  }

  static std::unique_ptr<MemoryConsole> MakeConsole() { return std::make_unique<MemoryConsole>(); }

  ktsvc::api::HttpServer& server() { return *server_; }
  void EndServer() { server_.reset(); }
  ktsvc::access::TemporaryFolder& folder() { return folder_; }

 private:
  ktsvc::access::TemporaryFolder folder_;
  std::unique_ptr<ktsvc::api::HttpServer> server_;
};

}  // namespace cli_test
