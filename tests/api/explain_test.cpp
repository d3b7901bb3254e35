#include <gmock/gmock.h>

#include "api/api_test.h"

namespace api_test {
namespace {

using testing::HasSubstr;

class ApiExplain : public ApiTest {
 protected:
  Json Explain(const Caller& caller, const std::string& query) {
    return Document(Ask(caller, "GET", "/v1/explain?" + query));
  }

  static std::vector<std::string> Places(const Json& explanation) {
    std::vector<std::string> places;
    for (const Json& line : explanation["lines"]) {
      places.push_back(line["where"]);
    }
    return places;
  }
};

TEST_F(ApiExplain, TellsWhichLineDecides) {
  const Json json = Explain(Operator(), "action=control&interface=disk&code=9001");
  EXPECT_EQ(json["caller"], "user otto (1002)");
  EXPECT_EQ(json["action"], "send control 9001, selector 0, through interface disk");
  EXPECT_EQ(json["allowed"], false);
  EXPECT_EQ(json["held"], "operator");
  EXPECT_EQ(json["needed"], "admin");
  EXPECT_EQ(json["heldBy"], "access.conf:2");
  EXPECT_EQ(json["neededBy"], "access.conf:6");
  EXPECT_EQ(json["decidedBy"], "access.conf:6");
  EXPECT_THAT(json["sentence"].get<std::string>(), HasSubstr("user otto (1002) may not send"));
}

TEST_F(ApiExplain, AnswersEvenWhomNoLineNames) {
  const Json json = Explain(Nobody(), "action=read");
  EXPECT_EQ(json["allowed"], false);
  EXPECT_EQ(json["held"], "none");
}

TEST_F(ApiExplain, KeepsTheLinesOfOthersFromAllButAdmins) {
  EXPECT_THAT(Places(Explain(Operator(), "action=read")),
              testing::ElementsAre("access.conf:2", "default"));
  EXPECT_THAT(Places(Explain(Admin(), "action=read")),
              testing::ElementsAre("access.conf:1", "access.conf:2", "access.conf:3",
                                   "access.conf:4", "access.conf:5", "access.conf:6", "default"));
}

TEST_F(ApiExplain, SaysTheSameAsTheRefusal) {
  const KtObjId disk = NewDisk();
  const Json json = Explain(Observer(), "action=control&interface=disk&selector=2&code=0x4D");
  EXPECT_EQ(
      json["sentence"],
      Reason(Control(Observer(), disk, R"({"interface":"disk","selector":2,"code":77})"), 403));
}

TEST_F(ApiExplain, KnowsEveryAction) {
  for (const char* action : {"read", "raise-event", "trace-level", "admin"}) {
    EXPECT_EQ(Explain(Admin(), std::string("action=") + action)["allowed"], true) << action;
  }
}

TEST_F(ApiExplain, RefusesAQuestionThatIsNoneAndSaysWhatIsMissing) {
  const auto reason = [this](const std::string& query) {
    return Reason(Get("/v1/explain" + query), 400);
  };
  EXPECT_EQ(reason(""), "\"action\" is missing");
  EXPECT_EQ(reason("?action=fly"), "\"fly\" is no action");
  EXPECT_EQ(reason("?action=control"), "\"interface\" is missing");
  EXPECT_EQ(reason("?action=control&interface=disk"), "\"code\" is missing");
  EXPECT_EQ(reason("?action=control&interface=none&code=1"), "\"none\" is no interface");
  EXPECT_EQ(reason("?action=control&interface=disk&code=x"),
            "\"code\" is no number from 0 to 4294967295");
  EXPECT_EQ(reason("?action=control&interface=disk&code=0x"),
            "\"code\" is no number from 0 to 4294967295");
  EXPECT_EQ(reason("?action=read&code=1"), "\"code\" belongs to action=control alone");
}

}  // namespace
}  // namespace api_test
