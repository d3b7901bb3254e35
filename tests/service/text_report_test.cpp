#include "text_report.h"

#include <gtest/gtest.h>

#include "json_report.h"
#include "service/samples.h"

namespace ktsvc {
namespace {

using ktsvc_test::kSampleGuid;
using ktsvc_test::MakeProperty;

TraceLevelAnswer Answered(KtStatus status) {
  TraceLevelAnswer answer;
  answer.object = KtObjId{kSampleGuid};
  answer.level = 3;
  answer.provider = status;
  return answer;
}

TEST(LedgerText, IsOneLineWhenNothingWasKept) {
  const std::string expected =
      "Ledger\n  nothing kept: everything that was handed out came back\n\n";
  EXPECT_EQ(LedgerText({}), expected);
  EXPECT_EQ(LedgerText({{"good", "records", 0, 12, 0}}), expected);
}

TEST(LedgerText, ListsOnlyTheRowsThatAreWrong) {
  EXPECT_EQ(
      LedgerText(
          {{"", "blocks", 1, 5, 0}, {"good", "records", 0, 12, 0}, {"bad", "texts", 0, 3, 2}}),
      "Ledger\n"
      "  PROVIDER       KIND    KEPT  WRONGLY FREED  HANDED OUT\n"
      "  (the service)  blocks  1     0              5\n"
      "  bad            texts   0     2              3\n\n");
}

TEST(ControlText, SaysThatThereIsNobodyToAsk) {
  EXPECT_EQ(ControlText(TraceLevelAnswer()),
            "Control\n  not sent  there is no object of type qelm_system\n\n");
}

TEST(ControlText, ShowsStatusAndPreviousLevel) {
  TraceLevelAnswer answer = Answered(0);
  answer.output = {MakeProperty("tracelevel", TYPE_UINT32, {4U})};
  EXPECT_EQ(ControlText(answer),
            "Control\n"
            "  sent    set the trace level to 3 (code 11005, system interface)\n"
            "  to      qelm_system {9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}\n"
            "  status  0x00000000 OK (done)\n"
            "  answer  tracelevel UINT32 4, the previous level\n\n");
}

TEST(ControlText, TellsARefusalOfTheBusFromAnAnswerOfTheProvider) {
  TraceLevelAnswer answer = Answered(0);
  answer.bus = 0xC1000010U;
  EXPECT_NE(ControlText(answer).find("refused  by the bus, 0xC1000010"), std::string::npos);
  EXPECT_NE(ControlText(Answered(0x80070057U)).find("status  0x80070057 E_INVALIDARG"),
            std::string::npos);
}

TEST(ProvidersText, ShowsWhatIsWrongUnderTheProvider) {
  ProviderReport good;
  good.name = "good";
  good.state = ProviderState::kRunning;
  good.version = "1.2";
  good.file = "good.so";
  ProviderReport bad;
  bad.name = "worse";
  bad.failures = {{"there is no file", "look again"}};
  EXPECT_EQ(ProvidersText({good, bad}),
            "Providers\n"
            "  good   running  1.2  good.so\n"
            "  worse  failed   -    (no file)\n"
            "      there is no file\n\n");
}

TEST(ProvidersText, EscapesTheVersion) {
  ProviderReport provider;
  provider.name = "good";
  provider.state = ProviderState::kRunning;
  provider.version = "1\x1B[2J";
  EXPECT_EQ(ProvidersText({provider}), "Providers\n  good  running  1\\x1b[2J  (no file)\n\n");
}

TEST(ControlText, EscapesTheNamesOfTheAnswer) {
  TraceLevelAnswer answer = Answered(0);
  answer.output = {MakeProperty("a\x1B", TYPE_UINT32, {4U})};
  EXPECT_NE(ControlText(answer).find("answer  a\\x1b UINT32 4\n"), std::string::npos);
}

// What the provider answered is told whenever the bus asked it, which is no matter of being zero.
TEST(LifeJson, TellsTheAnswerWhereverTheBusDidNotFail) {
  Life life;
  life.control = Answered(5);
  life.control->bus = 0x81000001U;
  EXPECT_EQ(LifeJson(life)["control"]["status"]["code"], 5);
  life.control->bus = 0xC1000041U;
  EXPECT_TRUE(LifeJson(life)["control"]["status"].is_null());
}

TEST(LifeJson, HasNullForWhatALifeWithoutOnceDoesNotKnow) {
  const Json json = LifeJson(Life());
  EXPECT_TRUE(json["control"].is_null());
  EXPECT_TRUE(json["types"].is_null());
  EXPECT_TRUE(json["objects"].is_null());
  EXPECT_TRUE(json["ledger"]["clean"].get<bool>());
  EXPECT_EQ(json["exitStatus"], 0);
}

}  // namespace
}  // namespace ktsvc
