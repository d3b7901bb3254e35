// SIGHUP and the whole program: where there is no terminal it opens the log files anew, where there
// is one it is the end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/local/stream_protocol.hpp>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "api/http_client.h"
#include "service/program.h"

namespace ktsvc_test {
namespace {

namespace fs = std::filesystem;
using ktsvc::api::HttpClient;
using testing::HasSubstr;
using testing::Not;

class HangUp : public testing::Test {
 protected:
  // In a session of its own, which has no terminal, wherever the tests run.
  static Program Detached(const std::vector<std::string>& words) {
    std::vector<std::string> all{BuiltProgram().string()};
    const std::vector<std::string> run = RunWords(words);
    all.insert(all.end(), run.begin(), run.end());
    return Program(all, {}, "/usr/bin/setsid");
  }

  // Raises an event of that name, which is traced nowhere and goes on record.
  void Raise(const std::string& name) const {
    boost::asio::local::stream_protocol::socket socket(HttpClient::Context());
    socket.connect({socket_.string()});
    HttpClient client{HttpClient::Socket(std::move(socket))};
    const std::string body = R"({"name":")" + name + R"("})";
    EXPECT_EQ(client
                  .Ask("POST /v1/events HTTP/1.1\r\nHost: localhost\r\nContent-Type: "
                       "application/json\r\nContent-Length: " +
                       std::to_string(body.size()) + "\r\n\r\n" + body)
                  .status,
              202U);
  }

  const ScratchFolder folder_;
  const fs::path socket_ = folder_.path() / "socket";
  const fs::path audit_ = folder_.path() / "audit.jsonl";
  const fs::path trace_ = folder_.path() / "trace.log";
};

TEST_F(HangUp, OpensTheLogFilesAnewAfterARotation) {
  Program program = Detached({"--socket", socket_.string(), "--audit-log", audit_.string(),
                              "--trace-file", trace_.string(), "--trace-level", "1", "good"});
  ASSERT_TRUE(program.WaitForError("serving 1 provider")) << program.Errors();
  Raise("event.before");
  fs::rename(audit_, folder_.path() / "audit.1");
  fs::rename(trace_, folder_.path() / "trace.1");
  program.Signal(SIGHUP);
  ASSERT_TRUE(program.WaitForError("the log files are opened anew: " + audit_.string() + ", " +
                                   trace_.string()))
      << program.Errors();
  Raise("event.after");
  program.Signal(SIGTERM);
  const Result result = program.Wait();
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(result.errors, HasSubstr("stopping: SIGTERM"));
  EXPECT_THAT(ReadFile(folder_.path() / "audit.1"), HasSubstr("event.before"));
  EXPECT_THAT(ReadFile(folder_.path() / "audit.1"), Not(HasSubstr("event.after")));
  EXPECT_THAT(ReadFile(audit_), HasSubstr("event.after"));
  EXPECT_THAT(ReadFile(folder_.path() / "trace.1"), Not(testing::IsEmpty()));
  EXPECT_TRUE(fs::exists(trace_));
}

TEST_F(HangUp, GoesOnWithTheFormerFileWhenTheNewOneCannotBeOpened) {
  const fs::path inner = folder_.path() / "logs";
  fs::create_directory(inner);
  Program program = Detached(
      {"--no-socket", "--trace-file", (inner / "trace").string(), "--trace-level", "1", "good"});
  ASSERT_TRUE(program.WaitForError("serving 1 provider")) << program.Errors();
  fs::rename(inner, folder_.path() / "elsewhere");
  program.Signal(SIGHUP);
  ASSERT_TRUE(program.WaitForError("the trace file " + (inner / "trace").string() +
                                   " cannot be opened anew"))
      << program.Errors();
  const std::size_t before = ReadFile(folder_.path() / "elsewhere" / "trace").size();
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait().status, 0);
  EXPECT_GT(ReadFile(folder_.path() / "elsewhere" / "trace").size(), before);
}

TEST_F(HangUp, SaysThatThereIsNothingToOpenWhereThereIsNoLogFile) {
  Program program = Detached({"--no-socket", "good"});
  ASSERT_TRUE(program.WaitForError("serving 1 provider")) << program.Errors();
  program.Signal(SIGHUP);
  EXPECT_TRUE(program.WaitForError("SIGHUP: there is no log file to open anew"))
      << program.Errors();
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait().status, 0);
}

TEST_F(HangUp, IsTheEndWhenTheTerminalCloses) {
  const std::string errors = (folder_.path() / "errors").string();
  const std::string output = (folder_.path() / "output").string();
  std::string line = "exec '" + BuiltProgram().string() + "'";
  for (const std::string& word : RunWords({"--no-socket", "good"})) {
    line += " '" + word + "'";
  }
  line += " >'" + output + "' 2>'" + errors + "'";
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGHUP, SIG_DFL);  // the tests may run under nohup
    execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    _exit(127);
  }
  while (!fs::exists(errors) || ReadFile(errors).find("serving 1 provider") == std::string::npos) {
    ASSERT_EQ(waitpid(child, nullptr, WNOHANG), 0) << ReadFile(errors);
    std::this_thread::yield();
  }
  close(terminal);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_THAT(ReadFile(errors), HasSubstr("stopping: SIGHUP"));
  EXPECT_THAT(ReadFile(output), HasSubstr("nothing kept"));
}

}  // namespace
}  // namespace ktsvc_test
