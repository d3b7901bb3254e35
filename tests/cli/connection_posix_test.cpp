// Socket files, and files that others can read.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

#include "cli/service_place.h"
#include "cli_test.h"
#include "default_socket.h"

namespace ktctl {
namespace {

namespace fs = std::filesystem;
using cli_test::CliTest;
using cli_test::MemoryConsole;
using cli_test::RefusalOf;
using cli_test::VariablesOf;
using ktsvc::access::TemporaryFolder;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Connection, RefusesATokensFileThatOthersCanRead) {
  const TemporaryFolder folder;
  const fs::path file = folder.File("token", "ci abc\n");
  fs::permissions(file, fs::perms::group_read, fs::perm_options::add);
  Options options;
  options.url = "127.0.0.1:1";
  options.tokenFile = file.string();
  EXPECT_THAT(RefusalOf([&] { FindConnection(options, VariablesOf({})); }),
              AllOf(StartsWith("4 --token-file: "), HasSubstr("others than its owner"),
                    HasSubstr("Run: chmod 600")));
}

// Sets XDG_RUNTIME_DIR for a test.
class RuntimeFolder {
 public:
  explicit RuntimeFolder(const fs::path& folder) {
    if (const char* const value = std::getenv(kName)) {
      before_ = value;
    }
    setenv(kName, folder.c_str(), 1);
  }
  ~RuntimeFolder() {
    if (before_) {
      setenv(kName, before_->c_str(), 1);
    } else {
      unsetenv(kName);
    }
  }
  RuntimeFolder(const RuntimeFolder&) = delete;
  RuntimeFolder& operator=(const RuntimeFolder&) = delete;

 private:
  static constexpr const char* kName = "XDG_RUNTIME_DIR";
  std::optional<std::string> before_;
};

TEST(SocketsToTry, ArePersonsOwnAndThenTheSystems) {
  const TemporaryFolder folder;
  const RuntimeFolder runtime(folder / "");
  const std::vector<fs::path> sockets = ktsvc::SocketsToTry();
  EXPECT_EQ(sockets.back(), "/run/ktsvc/ktsvc.sock");
  if (geteuid() != 0) {
    EXPECT_EQ(sockets.front(), folder / "ktsvc.sock");
  }
  EXPECT_EQ(sockets.size(), geteuid() == 0 ? 1U : 2U);
}

class SocketFileTest : public CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    // As a folder of the service's own would be, whatever the umask of the tests.
    fs::permissions(file_.parent_path(), fs::perms::owner_all);
    UsePolicy("user " + std::to_string(geteuid()) + " operator\n");
    ktsvc::api::HttpOptions options;
    options.socket = file_;
    files_ = std::make_unique<ktsvc::api::HttpServer>(Handlers(), std::move(options), hub());
  }
  void TearDown() override {
    files_.reset();
    CliTest::TearDown();
  }

  Ended RunAt(const std::string& socket, std::vector<std::string> words) {
    words.insert(words.end(), {"--socket", socket});
    MemoryConsole console;
    const int status = ktctl::Run(words, VariablesOf({}), console);
    return {status, console.output, console.messages};
  }

  const fs::path file_ = folder() / "ktsvc.sock";
  std::unique_ptr<ktsvc::api::HttpServer> files_;
};

TEST_F(SocketFileTest, TheCallerIsTheUserWhoRunsTheProgram) {
  const Ended ended = RunAt(file_.string(), {"status", "--json"});
  EXPECT_EQ(ended.status, kExitDone) << ended.messages;
  EXPECT_EQ(ended.Document()["caller"]["kind"], "user");
  EXPECT_EQ(ended.Document()["caller"]["role"], "operator");
}

TEST_F(SocketFileTest, AFileThatIsNotThereIsNoService) {
  const std::string socket = (folder() / "other.sock").string();
  const Ended ended = RunAt(socket, {"status"});
  EXPECT_EQ(ended.status, kExitNoService);
  EXPECT_THAT(ended.messages, AllOf(HasSubstr("no service answers at " + socket),
                                    HasSubstr("ktsvc run hostkit blockdev --socket " + socket)));
}

TEST_F(SocketFileTest, AFileThatNobodyListensAtIsNoService) {
  const std::string stale = folder().File("stale", "").string();
  EXPECT_EQ(RunAt(stale, {"status"}).status, kExitNoService);
}

TEST_F(SocketFileTest, ANameThatIsTooLongForASocketIsAWrongWord) {
  const Ended ended = RunAt("/" + std::string(300, 'x'), {"status"});
  EXPECT_EQ(ended.status, kExitWrongWords);
  EXPECT_THAT(ended.messages, HasSubstr("is no socket file"));
}

TEST_F(SocketFileTest, TheSecondPlaceIsAskedWhereTheFirstHasNoService) {
  Connection connection;
  Place missing;
  missing.socket = folder() / "other.sock";
  Place there;
  there.socket = file_;
  connection.places = {missing, there};
  HttpClient http(connection);
  EXPECT_EQ(http.Ask({"GET", "/v1/health", {}, {}}, std::nullopt).status, 200U);
  EXPECT_EQ(http.place().Text(), file_.string());
}

}  // namespace
}  // namespace ktctl
