#include <gmock/gmock.h>

#include "api/api_test.h"

namespace api_test {
namespace {

using ktsvc::api::Topic;
using testing::ElementsAre;

class ApiStream : public ApiTest {
 protected:
  auto Open(const Caller& caller, const std::string& target) {
    return api().OpenStream({"GET", target, "", "", caller});
  }
  std::string Refusal(const Caller& caller, const std::string& target, unsigned status) {
    const auto opened = Open(caller, target);
    const auto* response = std::get_if<Response>(&opened);
    return response == nullptr ? "(opened)" : Reason(*response, status);
  }
};

TEST_F(ApiStream, KnowsItsPathWhateverTheQuery) {
  EXPECT_TRUE(ktsvc::api::Api::IsStream("/v1/stream"));
  EXPECT_TRUE(ktsvc::api::Api::IsStream("/v1/stream?topics=events"));
  EXPECT_TRUE(ktsvc::api::Api::IsStream("/v1/%73tream"));
  EXPECT_TRUE(ktsvc::api::Api::IsStream("http://localhost/v1/stream"));
  EXPECT_FALSE(ktsvc::api::Api::IsStream("/v1/stream%"));
  EXPECT_FALSE(ktsvc::api::Api::IsStream("/v1/streams"));
  EXPECT_FALSE(ktsvc::api::Api::IsStream("/v1/stream/x"));
}

TEST_F(ApiStream, ReadsTopicsAndPattern) {
  const auto opened = Open(Observer(), "/v1/stream?topics=trace,events,trace&pattern=event.%2A.x");
  const auto* selection = std::get_if<ktsvc::api::Api::StreamRequest>(&opened);
  ASSERT_NE(selection, nullptr);
  EXPECT_THAT(selection->topics, ElementsAre(Topic::kTrace, Topic::kEvents));
  EXPECT_EQ(selection->eventPattern, "event.*.x");
}

TEST_F(ApiStream, RefusesTopicsThatAreNone) {
  EXPECT_EQ(Refusal(Admin(), "/v1/stream", 400), "\"topics\" is missing");
  EXPECT_EQ(Refusal(Admin(), "/v1/stream?topics=", 400), "\"topics\" is missing");
  EXPECT_EQ(Refusal(Admin(), "/v1/stream?topics=events,news", 400), "\"news\" is no topic");
  EXPECT_EQ(Refusal(Admin(), "/v1/stream?topics=events,,trace", 400), "\"\" is no topic");
}

TEST_F(ApiStream, RefusesWhoMayNotRead) {
  EXPECT_THAT(Refusal(Nobody(), "/v1/stream?topics=events", 403), testing::HasSubstr("may not"));
}

TEST_F(ApiStream, RefusesOtherMethods) {
  const auto opened = api().OpenStream({"POST", "/v1/stream", "", "", Admin()});
  EXPECT_EQ(std::get<Response>(opened).status, 405U);
}

TEST_F(ApiStream, OpensNoStreamWhileTheServiceStops) {
  stopping = true;
  EXPECT_EQ(Refusal(Admin(), "/v1/stream?topics=events", 503), "the service is stopping");
}

}  // namespace
}  // namespace api_test
