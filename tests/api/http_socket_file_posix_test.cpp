#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/asio/local/stream_protocol.hpp>
#include <filesystem>
#include <fstream>

#include "access/temporary_folder.h"
#include "http_server_test.h"

namespace ktsvc::api {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class HttpSocketFileTest : public HttpServerTest {
 protected:
  HttpSocketFileTest() {
    // As a folder of the service's own would be, whatever the umask of the tests.
    fs::permissions(file_.parent_path(), fs::perms::owner_all);
  }
  ~HttpSocketFileTest() override { server_.reset(); }

  void StartHere() {
    HttpOptions options;
    options.socket = file_;
    Start(std::move(options));
  }

  HttpClient ConnectHere() {
    boost::asio::local::stream_protocol::socket socket(HttpClient::Context());
    socket.connect({file_.string()});
    return HttpClient(HttpClient::Socket(std::move(socket)));
  }

  std::string WhyNot() {
    try {
      StartHere();
    } catch (const ListenError& error) {
      return error.what();
    }
    return {};
  }

  // A socket file behind which nobody listens.
  void LeaveStaleFile() const {
    const int left = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    file_.native().copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(left, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    close(left);
  }

  static std::string Plain(const std::string& target) {
    return "GET " + target + " HTTP/1.1\r\nHost: anything\r\n\r\n";
  }

  access::TemporaryFolder folder_;
  const fs::path file_ = folder_ / "ktsvc.sock";
};

TEST_F(HttpSocketFileTest, ACallerIsKnownByHisUserWithoutAToken) {
  StartHere();
  EXPECT_EQ(server_->Where().front(), file_.string());
  const auto answer = ConnectHere().Ask(Plain("/a"));
  EXPECT_EQ(answer.status, 200U);
  EXPECT_THAT(answer.body, HasSubstr("(" + std::to_string(geteuid()) + ")"));
}

TEST_F(HttpSocketFileTest, ATokenMakesNobodySomebodyElse) {
  StartHere();
  EXPECT_THAT(ConnectHere().Ask(Get("/a")).body, HasSubstr("(" + std::to_string(geteuid()) + ")"));
}

TEST_F(HttpSocketFileTest, EverybodyMayConnectForTheHandlersDecide) {
  StartHere();
  struct stat facts {};
  ASSERT_EQ(stat(file_.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777U, 0666U);
}

TEST_F(HttpSocketFileTest, TheFileIsGoneAfterTheStop) {
  StartHere();
  server_->Stop();
  EXPECT_FALSE(fs::exists(file_));
}

TEST_F(HttpSocketFileTest, TheFileOfAServiceThatIsGoneIsReplaced) {
  LeaveStaleFile();
  StartHere();
  EXPECT_EQ(ConnectHere().Ask(Plain("/a")).status, 200U);
}

TEST_F(HttpSocketFileTest, TheFileOfALivingServiceIsLeftAlone) {
  StartHere();
  HttpOptions options;
  options.socket = file_;
  try {
    const HttpServer second(Handlers(), std::move(options), hub_);
    ADD_FAILURE();
  } catch (const ListenError& error) {
    EXPECT_THAT(error.what(), HasSubstr("a service answers there already"));
  }
  EXPECT_EQ(ConnectHere().Ask(Plain("/a")).status, 200U);
}

TEST_F(HttpSocketFileTest, AFileThatIsNoSocketIsLeftAlone) {
  std::ofstream(file_) << "precious";
  EXPECT_THAT(WhyNot(), HasSubstr("no socket"));
  EXPECT_EQ(access::TemporaryFolder::Read(file_), "precious");
}

TEST_F(HttpSocketFileTest, ALinkInTheSocketsPlaceIsNotFollowed) {
  fs::create_symlink(folder_ / "elsewhere", file_);
  EXPECT_THAT(WhyNot(), HasSubstr("no socket"));
}

TEST_F(HttpSocketFileTest, AFileThatAnotherHasPutThereIsNotRemovedAtTheEnd) {
  StartHere();
  fs::remove(file_);
  std::ofstream(file_) << "mine";
  server_->Stop();
  EXPECT_EQ(access::TemporaryFolder::Read(file_), "mine");
}

TEST_F(HttpSocketFileTest, AFolderInWhichOthersMayWriteIsRefused) {
  fs::permissions(file_.parent_path(), fs::perms::all);
  EXPECT_THAT(WhyNot(), HasSubstr("others may write to its folder"));
  EXPECT_THAT(WhyNot(), HasSubstr("chmod go-w"));
}

TEST_F(HttpSocketFileTest, AFolderInWhichEachMayOnlyRemoveHisOwnWillDo) {
  fs::permissions(file_.parent_path(), fs::perms::all | fs::perms::sticky_bit);
  EXPECT_EQ(WhyNot(), "");
}

TEST_F(HttpSocketFileTest, AFolderThatIsNotThereIsRefused) {
  HttpOptions options;
  options.socket = folder_ / "none/ktsvc.sock";
  try {
    Start(std::move(options));
    ADD_FAILURE();
  } catch (const ListenError& error) {
    EXPECT_THAT(error.what(), HasSubstr("Run: mkdir"));
  }
}

TEST_F(HttpSocketFileTest, APathThatIsTooLongIsRefused) {
  HttpOptions options;
  options.socket = folder_ / std::string(200, 'x');
  try {
    Start(std::move(options));
    ADD_FAILURE();
  } catch (const ListenError& error) {
    EXPECT_THAT(error.what(), HasSubstr("longer than the 107 bytes"));
  }
}

TEST_F(HttpSocketFileTest, AUserWithHisShareOfConnectionsIsToldSo) {
  HttpOptions options;
  options.socket = file_;
  options.limits.connectionsOfUser = 2;
  options.reservedFor = {};  // whoever runs this is a user like any other
  Start(std::move(options));
  auto first = ConnectHere();
  auto second = ConnectHere();
  EXPECT_EQ(first.Ask(Plain("/a")).status, 200U);
  EXPECT_EQ(second.Ask(Plain("/a")).status, 200U);
  const auto answer = ConnectHere().Read();
  EXPECT_EQ(answer.status, 503U);
  EXPECT_EQ(answer.Reason(), "user " + std::to_string(geteuid()) +
                                 " has 2 connections, as many as one user may have at once");
  EXPECT_EQ(first.Ask(Plain("/a")).status, 200U);
}

TEST_F(HttpSocketFileTest, TheServicesOwnUserHasMoreThanAShare) {
  HttpOptions options;
  options.socket = file_;
  options.limits.connections = 4;
  options.limits.connectionsOfUser = 1;
  Start(std::move(options));
  std::vector<HttpClient> clients;
  for (int i = 0; i < 4; ++i) {
    clients.push_back(ConnectHere());
    EXPECT_EQ(clients.back().Ask(Plain("/a")).status, 200U);
  }
  EXPECT_EQ(ConnectHere().Read().Reason(), "all 4 connections are taken");
}

TEST_F(HttpSocketFileTest, WhoIsRefusedTakesNoPlaceFromAnybody) {
  HttpOptions options;
  options.socket = file_;
  options.listen = "127.0.0.1:0";
  options.limits.connections = 8;
  options.limits.connectionsOfUser = 0;
  options.limits.connectionsReserved = 4;
  options.reservedFor = {};
  Start(std::move(options));
  std::vector<HttpClient> refused;
  for (int i = 0; i < 20; ++i) {
    refused.push_back(ConnectHere());
    EXPECT_EQ(refused.back().Read().status, 503U);
  }
  EXPECT_EQ(HttpClient::ByTcp(server_->Where().at(1)).Ask(Get("/a")).status, 200U);
}

TEST_F(HttpSocketFileTest, BothWaysAreServedAtOnce) {
  HttpOptions options;
  options.socket = file_;
  options.listen = "127.0.0.1:0";
  Start(std::move(options));
  EXPECT_THAT(ConnectHere().Ask(Plain("/a")).body, HasSubstr("for user"));
  EXPECT_THAT(HttpClient::ByTcp(server_->Where().at(1)).Ask(Get("/a")).body,
              HasSubstr("for token ci"));
}

}  // namespace
}  // namespace ktsvc::api
