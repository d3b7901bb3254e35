#include <gmock/gmock.h>

#include <regex>
#include <set>
#include <sstream>

#include "api/api_test.h"
#include "api/metrics_text.h"

namespace api_test {
namespace {

using ktsvc::api::MetricsText;
using testing::HasSubstr;

class ApiMetrics : public ApiTest {
 protected:
  std::string Text() {
    const Response response = Get("/metrics");
    EXPECT_EQ(response.status, 200U);
    EXPECT_EQ(response.contentType, "text/plain; version=0.0.4; charset=utf-8");
    return response.body;
  }
};

TEST_F(ApiMetrics, CountsWhatProvidersDo) {
  const KtObjId disk = NewDisk();
  alpha().control = [](const auto& call) { return call.code == 1 ? 0U : 5U; };
  Control(Admin(), disk, R"({"interface":"disk","code":1})");
  Control(Admin(), disk, R"({"interface":"disk","code":2})");
  const std::string text = Text();
  EXPECT_THAT(text, HasSubstr("\nktsvc_provider_running{provider=\"alpha\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\nktsvc_provider_requests_total{provider=\"alpha\"} 2\n"));
  EXPECT_THAT(text, HasSubstr("\nktsvc_provider_failures_total{provider=\"alpha\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\nktsvc_provider_controls_total{provider=\"alpha\"} 2\n"));
  EXPECT_THAT(text, HasSubstr("\nktsvc_controls_in_flight 0\n"));
}

TEST_F(ApiMetrics, CountsObjectsByType) {
  NewObject();
  NewObject();
  EXPECT_THAT(Text(), HasSubstr("\nktsvc_objects{type=\"QELM_Object\"} 2\n"));
}

TEST_F(ApiMetrics, CountsRequestsByStatus) {
  api().Answered(200);
  api().Answered(200);
  api().Answered(421);
  Get("/none");  // which the transport counts when it answers
  const std::string text = Text();
  EXPECT_THAT(text, HasSubstr("\nktsvc_requests_total{status=\"200\"} 2\n"
                              "ktsvc_requests_total{status=\"421\"} 1\n"));
  EXPECT_THAT(text, testing::Not(HasSubstr("status=\"404\"")));
}

TEST_F(ApiMetrics, CountsMessagesAndNotTheirNumbers) {
  hub().Lose({ktsvc::api::Topic::kTrace}, 5);
  hub().Publish(ktsvc::api::Topic::kTrace, "{}");
  const std::string text = Text();
  EXPECT_THAT(text, HasSubstr("\nktsvc_stream_messages_total 1\n"));
  EXPECT_THAT(text, HasSubstr("\nktsvc_stream_lost_total 5\n"));
}

TEST_F(ApiMetrics, TellsWhenTheServiceStartedAndWhetherItStops) {
  EXPECT_THAT(Text(), HasSubstr("\nktsvc_stopping 0\n"));
  stopping = true;
  EXPECT_THAT(Text(), HasSubstr("\nktsvc_stopping 1\n"));
  EXPECT_THAT(Text(), HasSubstr("\nktsvc_start_time_seconds 1769860800\n"));
}

TEST_F(ApiMetrics, HasOnlyLinesOfTheFormatAndEachFamilyOnce) {
  NewDisk();
  const std::regex sample(
      R"re([a-z_]+(\{[a-z]+="([^"\\]|\\.)*"(,[a-z]+="([^"\\]|\\.)*")*\})? [0-9.e+-]+)re");
  const std::regex comment("# (HELP|TYPE) ([a-z_]+) .+");
  std::set<std::string> families;
  std::string family;
  std::istringstream text(Text());
  for (std::string line; std::getline(text, line);) {
    std::smatch match;
    if (std::regex_match(line, match, comment)) {
      if (match[1] == "HELP") {
        family = match[2];
        EXPECT_TRUE(families.insert(family).second) << family;
      }
    } else {
      EXPECT_TRUE(std::regex_match(line, sample)) << line;
      EXPECT_EQ(line.substr(0, line.find_first_of("{ ")), family);
    }
  }
  EXPECT_GT(families.size(), 20U);
}

TEST(MetricsText, EscapesLabels) {
  MetricsText text;
  text.Family("x", "gauge", "Help.");
  text.Sample(std::uint64_t{1}, {{"a", "q\"b\\c\nd"}, {"b", "\xFF"}});
  EXPECT_EQ(text.text(),
            "# HELP x Help.\n# TYPE x gauge\n"
            "x{a=\"q\\\"b\\\\\\\\c\\\\nd\",b=\"(malformed text, bytes ff)\"} 1\n");
}

TEST(MetricsText, WritesFractionsWithAPoint) {
  MetricsText text;
  text.Family("x", "gauge", "Help.");
  text.Sample(0.25);
  text.Sample(0.0);
  EXPECT_THAT(text.text(), HasSubstr("x 0.25\nx 0\n"));
}

}  // namespace
}  // namespace api_test
