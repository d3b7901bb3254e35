// Requests with a fault, and callers with no right: each gets an answer with a reason.
#include <gmock/gmock.h>

#include "api/api_test.h"

namespace api_test {
namespace {

using testing::HasSubstr;

class ApiRequest : public ApiTest {
 protected:
  std::string BodyReason(const std::string& body, unsigned status = 400) {
    return Reason(Ask(Admin(), "POST", "/v1/events", body), status);
  }
};

TEST_F(ApiRequest, AnswersNotFoundForAPathThatIsNotThere) {
  for (const char* target : {"/", "/v1", "/v2/health", "/v1/health/", "/v1/health/x", "//v1/health",
                             "/v1/objects/a/b/c/d", "/V1/health", "/v1/objects//children/x"}) {
    EXPECT_EQ(Reason(Get(target), 404), "there is nothing of this path") << target;
  }
}

TEST_F(ApiRequest, NamesTheMethodsThatAPathTakes) {
  const Response response = Ask(Admin(), "DELETE", "/v1/trace-level");
  EXPECT_EQ(Reason(response, 405), "this path takes another method");
  const std::vector<std::pair<std::string, std::string>> allow{{"Allow", "GET, HEAD, PUT"}};
  EXPECT_EQ(response.headers, allow);
  EXPECT_EQ(Ask(Admin(), "get", "/v1/health").status, 405U);
  EXPECT_EQ(Ask(Admin(), "", "/v1/health").status, 405U);
}

TEST_F(ApiRequest, AnswersHeadAsItAnswersGet) {
  for (const char* target : {"/v1/types", "/openapi.json", "/v1/objects?limit=0", "/v1/none"}) {
    const Response get = Get(target);
    const Response head = Ask(Admin(), "HEAD", target);
    EXPECT_EQ(head.status, get.status) << target;
    EXPECT_EQ(head.contentType, get.contentType) << target;
    EXPECT_EQ(head.body, get.body) << target;
  }
  EXPECT_EQ(Ask(Nobody(), "HEAD", "/v1/types").status, 403U);
  EXPECT_EQ(Ask(Admin(), "HEAD", "/v1/events").status, 405U);
}

TEST_F(ApiRequest, AnswersHeadOfAStreamWithoutOpeningIt) {
  const Response head = Ask(Admin(), "HEAD", "/v1/stream?topics=trace");
  EXPECT_EQ(head.status, 200U);
  EXPECT_EQ(head.contentType, "text/event-stream");
  EXPECT_EQ(head.body, "");
  EXPECT_EQ(hub().Subscribers(), 0U);
  EXPECT_EQ(Ask(Admin(), "HEAD", "/v1/stream?topics=news").status, 400U);
}

TEST_F(ApiRequest, RefusesTargetsThatAreMalformed) {
  EXPECT_EQ(Reason(Get(""), 400), "the target does not begin with /");
  EXPECT_EQ(Reason(Get("v1/health"), 400), "the target does not begin with /");
  EXPECT_EQ(Reason(Get("*"), 400), "the target does not begin with /");
  EXPECT_EQ(Reason(Get("/v1/health#x"), 400), "the target has a fragment");
  for (const char* target : {"/v1/types/%", "/v1/types/%4", "/v1/types/%zz", "/v1/types/a%4"}) {
    EXPECT_EQ(Reason(Get(target), 400), "the target has a % that begins no escape such as %20");
  }
  EXPECT_EQ(Reason(Get("/v1/types/%FF"), 400), "the target is no UTF-8");
  EXPECT_EQ(Reason(Get("/v1/types/\xC0\x80"), 400), "the target is no UTF-8");
  EXPECT_EQ(Reason(Get("/v1/types/%00"), 400), "the target has a zero character");
  EXPECT_EQ(Reason(Get("/v1/objects?type=%FF"), 400), "the target is no UTF-8");
}

TEST_F(ApiRequest, TakesATargetWithTheWholeUrl) {
  EXPECT_EQ(Get("http://localhost/v1/health").status, 200U);
  EXPECT_EQ(Get("http://localhost:80/v1/objects?limit=1").status, 200U);
  EXPECT_EQ(Get("http://localhost").status, 404U);
}

TEST_F(ApiRequest, RefusesAQueryThatIsUnknownOrTwiceThere) {
  EXPECT_EQ(Reason(Get("/v1/health?x=1"), 400), "the query has \"x\", which is unknown here");
  EXPECT_EQ(Reason(Get("/v1/objects?limit=1&limit=2"), 400), "the query has \"limit\" twice");
  EXPECT_EQ(Get("/v1/health?").status, 200U);
  EXPECT_EQ(Get("/v1/health?&&").status, 200U);
}

TEST_F(ApiRequest, TakesBlanksInAQueryInBothForms) {
  EXPECT_EQ(Reason(Get("/v1/objects?type=a+b"), 404), "no type a b");
  EXPECT_EQ(Reason(Get("/v1/objects?type=a%20b"), 404), "no type a b");
  EXPECT_EQ(Reason(Get("/v1/types/a+b"), 404), "no type a+b");
}

TEST_F(ApiRequest, RefusesABodyThatIsNotSaidToBeJson) {
  for (const char* type : {"", "text/plain", "application/x-www-form-urlencoded",
                           "application/jsonx", "application/json-patch+json"}) {
    EXPECT_EQ(Reason(Ask(Admin(), "POST", "/v1/events", R"({"name":"x"})", type), 415),
              "the body is not said to be JSON");
  }
  for (const char* type : {"application/json", "Application/JSON",
                           "application/json; charset=utf-8", "application/json ;charset=utf-8"}) {
    EXPECT_EQ(Ask(Admin(), "POST", "/v1/events", R"({"name":"x"})", type).status, 202U) << type;
  }
}

TEST_F(ApiRequest, RefusesABodyThatIsNoJson) {
  for (const char* body : {"{", "{]", "{\"name\":}", "x", "{} {}", "{\"name\":\"x\",}", "'a'",
                           "{\"name\":NaN}", "{\"name\":\"\n\"}", "\xEF\xBB", "/**/{}"}) {
    EXPECT_THAT(BodyReason(body), HasSubstr("the body is no JSON, at line ")) << body;
  }
}

TEST_F(ApiRequest, NamesThePlaceOfAFaultInTheBody) {
  EXPECT_THAT(BodyReason("{\n\"name\" 5}"), HasSubstr("line 2, column"));
}

TEST_F(ApiRequest, RefusesAnEmptyBody) {
  const Response response = api().Answer({"POST", "/v1/events", "application/json", "", Admin()});
  EXPECT_THAT(Reason(response, 400), HasSubstr("the body is no JSON"));
}

TEST_F(ApiRequest, RefusesABodyThatIsNoObject) {
  for (const char* body : {"[]", "5", "\"x\"", "null", "true"}) {
    EXPECT_EQ(BodyReason(body), "the body is no JSON object") << body;
  }
}

TEST_F(ApiRequest, RefusesBadUtf8InABody) {
  for (const char* body : {"{\"name\":\"\xFF\"}", "{\"name\":\"\xC0\x80\"}",
                           "{\"name\":\"\xED\xA0\x80\"}", R"({"name":"\ud800"})", "{\"\xFF\":1}"}) {
    EXPECT_THAT(BodyReason(body), HasSubstr("the body is no JSON")) << body;
  }
}

TEST_F(ApiRequest, RefusesABodyThatIsNestedTooDeep) {
  const auto nested = [](std::size_t depth) {
    return "{\"x\":" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
  };
  EXPECT_EQ(BodyReason(nested(ktsvc::api::kMaxNesting + 1)), "the body is nested deeper than 32");
  EXPECT_EQ(BodyReason(nested(ktsvc::api::kMaxNesting)), "the member \"x\" is unknown");
  EXPECT_EQ(BodyReason(std::string(500000, '[')), "the body is nested deeper than 32");
  EXPECT_EQ(BodyReason("{\"x\":" + std::string(500000, '[')), "the body is nested deeper than 32");
}

TEST_F(ApiRequest, RefusesAMemberThatIsThereTwice) {
  EXPECT_EQ(BodyReason(R"({"name":"a","name":"b"})"),
            "the body has the member \"name\" twice in one object");
  EXPECT_EQ(BodyReason(R"({"name":"a","properties":[{"type":"STR","type":"STR"}]})"),
            "the body has the member \"type\" twice in one object");
}

TEST_F(ApiRequest, RefusesNumbersThatNothingHolds) {
  EXPECT_EQ(BodyReason(R"({"name":1e999})"), "the body has a number that no 64 bits hold");
}

TEST_F(ApiRequest, RefusesABodyBeyondTheLimit) {
  const std::string body = "{\"name\":\"" + std::string(ktsvc::api::kMaxBodyBytes, 'x') + "\"}";
  EXPECT_EQ(BodyReason(body, 413), "the body has more than 1048576 bytes");
}

TEST_F(ApiRequest, MendsTextOfTheCallerThatIsNoUtf8InReasons) {
  EXPECT_TRUE(Json::accept(Ask(Admin(), "POST", "/v1/events", "\xFF\xFE").body));
}

TEST_F(ApiRequest, RefusesEverythingToWhomNoLineNames) {
  for (const char* target :
       {"/v1/health", "/v1/providers", "/v1/types", "/v1/types/QELM_Object", "/v1/objects",
        "/v1/alerts", "/v1/ledger", "/v1/trace-level", "/metrics", "/openapi.json"}) {
    EXPECT_EQ(Reason(Ask(Nobody(), "GET", target), 403),
              "user nina (1999) may not read: that needs observer, and no line of access.conf "
              "gives user nina (1999) a role.")
        << target;
  }
}

TEST_F(ApiRequest, LetsEachRoleReadEverything) {
  for (const Caller& caller : {Observer(), Operator(), Admin(), Token()}) {
    for (const char* target :
         {"/v1/health", "/v1/providers", "/v1/types", "/v1/types/QELM_Object", "/v1/objects",
          "/v1/alerts", "/v1/ledger", "/v1/trace-level", "/metrics", "/openapi.json"}) {
      EXPECT_EQ(Ask(caller, "GET", target).status, 200U) << target;
    }
  }
}

TEST_F(ApiRequest, IsNotImpressedByAnIdentityThatTheRequestClaims) {
  EXPECT_EQ(Ask(Nobody(), "GET", "/v1/objects?user=root").status, 403U);
  EXPECT_EQ(Ask(Nobody(), "GET", "http://root@localhost/v1/health").status, 403U);
  EXPECT_EQ(Ask(Observer(), "POST", "/v1/events", R"({"name":"x","caller":"root"})").status, 400U);
  EXPECT_EQ(Ask(Observer(), "POST", "/v1/events",
                R"({"name":"x","properties":[{"name":"uid","type":"UINT32","value":0}]})")
                .status,
            403U);
}

TEST_F(ApiRequest, PutsNoReadOnRecord) {
  Get("/v1/health");
  Ask(Nobody(), "GET", "/v1/health");
  EXPECT_TRUE(AuditLines().empty());
}

TEST_F(ApiRequest, AnswersWhenTheDatabaseIsNone) {
  ktsvc::api::ApiContext context;
  const auto policy = ktsvc::access::AccessPolicy::Default(0);
  context.policy = &policy;
  context.providers = [] { return std::vector<ktsvc::ProviderReport>(); };
  context.stopping = [] { return false; };
  ktsvc::api::Api api(context);
  const Response response = api.Answer({"GET", "/v1/types", "", "", Admin()});
  EXPECT_THAT(Reason(response, 500), HasSubstr("KtBusVisitTypes failed"));
  EXPECT_EQ(Json::parse(response.body)["error"]["code"], "0xC1000010");
}

}  // namespace
}  // namespace api_test
