// Where the service is asked, and with which token.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "access/access_error.h"
#include "cli/service_place.h"
#include "cli_test.h"
#include "default_socket.h"

namespace ktctl {
namespace {

using cli_test::Environment;
using cli_test::RefusalOf;
using cli_test::VariablesOf;
using ktsvc::access::TemporaryFolder;
using testing::HasSubstr;
using testing::StartsWith;

Connection Find(const Options& options, const Environment& environment = {}) {
  return FindConnection(options, VariablesOf(environment));
}
std::string Why(const Options& options, const Environment& environment = {}) {
  return RefusalOf([&] { Find(options, environment); });
}

Options WithUrl(const std::string& url, const std::string& tokenFile = {}) {
  Options options;
  options.url = url;
  options.tokenFile = tokenFile;
  return options;
}

// ---- Addresses ---------------------------------------------------------------------------------

TEST(PlaceFromUrl, ReadsAddressesOfTheLoopback) {
  for (const char* url : {"http://127.0.0.1:8230", "http://127.0.0.1:8230/", "127.0.0.1:8230",
                          "http://localhost:8230"}) {
    EXPECT_EQ(PlaceFromUrl(url, "--url").Text(), "http://127.0.0.1:8230") << url;
  }
  EXPECT_EQ(PlaceFromUrl("http://[::1]:8230", "--url").Text(), "http://[::1]:8230");
  EXPECT_EQ(PlaceFromUrl("http://[::1]:8230", "--url").host, "::1");
}

TEST(PlaceFromUrl, RefusesEveryOtherHostSoThatNoTokenLeavesTheMachine) {
  for (const char* url : {"http://example.org:80", "http://10.0.0.1:80", "http://0.0.0.0:80",
                          "http://127.0.0.1.example.org:80", "http://user@127.0.0.1:80",
                          "http://[::2]:80", "http://:80"}) {
    EXPECT_THAT(RefusalOf([url] { PlaceFromUrl(url, "--url"); }),
                HasSubstr("is not on this machine"))
        << url;
  }
}

TEST(PlaceFromUrl, RefusesWhatIsNoAddressWithTheFormOfOne) {
  for (const char* url : {"https://127.0.0.1:1", "127.0.0.1", "http://127.0.0.1:", "http://[::1]",
                          "http://127.0.0.1:0", "http://127.0.0.1:65536", "http://127.0.0.1:1/v1",
                          "unix:///run/x", ""}) {
    EXPECT_THAT(RefusalOf([url] { PlaceFromUrl(url, "--url"); }),
                testing::AllOf(StartsWith("2 --url: "), HasSubstr("http://127.0.0.1:PORT")))
        << url;
  }
}

TEST(Place, NamesItselfToTheServiceAsThisMachine) {
  EXPECT_EQ(PlaceFromUrl("127.0.0.1:8230", "").HostHeader(), "127.0.0.1:8230");
  Place file;
  file.socket = "/run/x.sock";
  EXPECT_EQ(file.HostHeader(), "localhost");
}

// ---- Precedence --------------------------------------------------------------------------------

TEST(Connection, TakesTheOptionBeforeTheEnvironment) {
  const Connection connection =
      Find(WithUrl("127.0.0.1:1"), {{"KTCTL_URL", "127.0.0.1:2"}, {"KTCTL_SOCKET", "/s"}});
  ASSERT_EQ(connection.places.size(), 1U);
  EXPECT_EQ(connection.places[0].Text(), "http://127.0.0.1:1");
}

TEST(Connection, TakesTheEnvironmentBeforeTheUsualPlaces) {
  EXPECT_EQ(Find({}, {{"KTCTL_URL", "127.0.0.1:2"}}).places.at(0).Text(), "http://127.0.0.1:2");
}

TEST(Connection, NamesTheVariableThatMakesNoSense) {
  EXPECT_THAT(Why({}, {{"KTCTL_URL", "nonsense"}}), StartsWith("2 KTCTL_URL: \"nonsense\""));
}

TEST(Connection, RefusesTwoServicesAtOnce) {
  Options options = WithUrl("127.0.0.1:1");
  options.socket = "/s";
  EXPECT_THAT(Why(options), StartsWith("2 --socket and --url"));
  EXPECT_THAT(Why({}, {{"KTCTL_URL", "127.0.0.1:1"}, {"KTCTL_SOCKET", "/s"}}),
              StartsWith("2 KTCTL_SOCKET and KTCTL_URL"));
}

TEST(Connection, LooksInTheUsualPlacesWhenNobodySaysWhere) {
  if (ktsvc::HasSocketFiles()) {
    const Connection connection = Find({});
    ASSERT_FALSE(connection.places.empty());
    EXPECT_TRUE(connection.places.back().IsSocket());
    EXPECT_EQ(connection.places.back().Text(), "/run/ktsvc/ktsvc.sock");
  } else {
    EXPECT_THAT(Why({}), StartsWith("2 nobody says where the service is"));
  }
}

TEST(Connection, RefusesASocketWhereThereAreNone) {
  Options options;
  options.socket = "/s";
  if (ktsvc::HasSocketFiles()) {
    EXPECT_EQ(Find(options).places.at(0).Text(), "/s");
  } else {
    EXPECT_THAT(Why(options), StartsWith("2 --socket has no meaning on this system"));
  }
}

// ---- Tokens ------------------------------------------------------------------------------------

std::string Secret(const std::string& text) {
  return SecretFromText(text, "token");
}
std::string WhyNoSecret(const std::string& text) {
  try {
    Secret(text);
  } catch (const ktsvc::access::AccessError& error) {
    return error.what();
  }
  return "";
}

TEST(Token, IsTheSecretAloneOrBehindItsName) {
  EXPECT_EQ(Secret("abc\n"), "abc");
  EXPECT_EQ(Secret("ci abc"), "abc");
  EXPECT_EQ(Secret("# made yesterday\n\n  ci   abc  # mine\r\n"), "abc");
}

TEST(Token, MustBeTheOnlyOneInItsFile) {
  EXPECT_EQ(WhyNoSecret("a abc\nb def\n"), "token:2: there is more than one token");
}

TEST(Token, MustBeThere) {
  EXPECT_THAT(WhyNoSecret("# nothing\n"), HasSubstr("there is no token in the file"));
}

TEST(Token, HasAtMostANameBeforeIt) {
  EXPECT_EQ(WhyNoSecret("a b c\n"), "token:1:5: there is a word too many");
}

TEST(Token, IsNeverQuoted) {
  EXPECT_EQ(WhyNoSecret("ci s\xC3\xA9"
                        "cret\n"),
            "token:1:4: this is no secret");
}

TEST(Connection, ReadsTheTokensFile) {
  const TemporaryFolder folder;
  const std::string file = folder.File("token", "ci abc\n").string();
  EXPECT_EQ(Find(WithUrl("127.0.0.1:1", file)).secret, "abc");
  EXPECT_EQ(Find(WithUrl("127.0.0.1:1"), {{"KTCTL_TOKEN_FILE", file}}).secret, "abc");
}

TEST(Connection, SaysWhichFileOfATokenIsMissing) {
  const TemporaryFolder folder;
  const std::string file = (folder / "token").string();
  EXPECT_THAT(Why(WithUrl("127.0.0.1:1", file)), StartsWith("2 --token-file: "));
  EXPECT_THAT(Why(WithUrl("127.0.0.1:1"), {{"KTCTL_TOKEN_FILE", file}}),
              StartsWith("2 KTCTL_TOKEN_FILE: "));
}

TEST(Connection, RefusesAFileWithTwoTokensAsWrongWords) {
  const TemporaryFolder folder;
  const std::string file = folder.File("token", "a abc\nb def\n").string();
  EXPECT_THAT(Why(WithUrl("127.0.0.1:1", file)),
              testing::AllOf(StartsWith("2 --token-file: "), HasSubstr("more than one token")));
}

TEST(Connection, RefusesATokenWithoutAnAddress) {
  Options options;
  options.tokenFile = "token";
  EXPECT_THAT(Why(options), StartsWith("2 --token-file has a meaning with --url only"));
}

}  // namespace
}  // namespace ktctl
