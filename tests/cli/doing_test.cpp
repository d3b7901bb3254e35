// The verbs that change something, and explain, through the real server.

#include "cli_test.h"
#include "named_interfaces.h"

namespace ktctl {
namespace {

using api_test::IdText;
using cli_test::CliTest;
using testing::AllOf;
using testing::HasSubstr;

class DoingTest : public CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    alpha().control = [this](const bus_test::ScriptedProvider::ControlCall& call) {
      ++calls_;
      last_ = std::to_string(call.selector) + " " + std::to_string(call.code);
      const auto level = bus_test::Find(call.input, "tracelevel");
      if (level != nullptr) {
        level_ = bus_test::ValueOf<std::uint32_t>(level);
      }
      bus_test::AddUint32(call.output, "tracelevel", 4);
      return answer_;
    };
  }

  KtObjId NewOffering(const KtGuid& interface) {
    const KtObjId id = NewObject();
    EXPECT_EQ(ObRegisterInterface(database(), &id, provider(), &interface), 0U);
    return id;
  }

  int calls_ = 0;
  std::string last_;
  std::uint32_t level_ = 0;
  KtStatus answer_ = 0;
};

TEST_F(DoingTest, ControlFindsTheOneObjectThatOffersTheInterface) {
  NewOffering(ktsvc::kSystemInterface);
  const Ended ended = Do({"control", "system", "trace-level", "level=3"});
  EXPECT_EQ(ended.status, kExitDone) << ended.messages;
  EXPECT_EQ(last_, "0 11005");
  EXPECT_EQ(level_, 3U);
  EXPECT_THAT(ended.output, AllOf(testing::StartsWith("0x00000000 OK (done)  after "),
                                  HasSubstr("tracelevel  UINT32  4\n")));
}

TEST_F(DoingTest, ControlTakesTheRawForm) {
  const KtObjId disk = NewDisk();
  EXPECT_EQ(Do({"control", IdText(disk), "7ec748b5-c965-4607-8371-eb3b1b0db7ec", "0x10",
                "--selector", "7", "tracelevel:UINT32=9"})
                .status,
            kExitDone);
  EXPECT_EQ(last_, "7 16");
  EXPECT_EQ(level_, 9U);
}

TEST_F(DoingTest, ControlEndsWithOneWhereTheProvidersStatusFails) {
  NewDisk();
  answer_ = 0xC1000001;
  const Ended ended = Do({"control", "disk", "1"});
  EXPECT_EQ(ended.status, kExitFailed);
  EXPECT_THAT(ended.output, HasSubstr("0xC1000001 KTERROR_UNEXPECTED"));
  EXPECT_EQ(Do({"control", "disk", "1", "--json"}).status, kExitFailed);
}

TEST_F(DoingTest, ControlEndsWellWhereTheStatusIsAnotherGoodOne) {
  NewDisk();
  answer_ = 0x41000012;
  EXPECT_EQ(Do({"control", "disk", "1"}).status, kExitDone);
}

TEST_F(DoingTest, ControlRefusesToChooseAnObject) {
  NewDisk();
  NewDisk();
  const Ended ended = Do({"control", "disk", "1"});
  EXPECT_EQ(ended.status, kExitWrongWords);
  EXPECT_THAT(ended.messages, HasSubstr("2 objects offer interface disk"));
  EXPECT_EQ(calls_, 0);
}

TEST_F(DoingTest, ControlSendsNothingWhereAWordIsWrong) {
  NewOffering(ktsvc::kSystemInterface);
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"control", "system", "trace-level", "level=many"},
        {"control", "system", "trace-level"},
        {"control", "system", "trace-level", "level=1", "level=2"},
        {"control", "system", "nosuch"}}) {
    EXPECT_EQ(Do(words).status, kExitWrongWords) << words.back();
  }
  EXPECT_EQ(calls_, 0);
}

TEST_F(DoingTest, ControlSaysThatTheObjectDoesNotOfferTheInterface) {
  const KtObjId id = NewObject();
  const Ended ended = Do({"control", IdText(id), "disk", "1"});
  EXPECT_EQ(ended.status, kExitWrongWords);
  EXPECT_THAT(ended.messages, AllOf(HasSubstr("does not offer interface disk"),
                                    HasSubstr("ktctl show " + IdText(id))));
}

TEST_F(DoingTest, ControlIsRefusedToWhoMayNot) {
  NewDisk();
  EXPECT_EQ(RunAs("reader", {"control", "disk", "1"}).status, kExitNotPermitted);
  EXPECT_EQ(RunAs("doer", {"control", "disk", "9000"}).status, kExitNotPermitted);
  EXPECT_EQ(calls_, 0);
}

TEST_F(DoingTest, ControlThatRestartsTheMachineMustBeConfirmedOnTheCommandLine) {
  Begin(true);
  const KtObjId id = NewOffering(ktsvc::kSystemInterface);
  const KtObjId other = NewOffering(ktsvc::kRebootInterface);
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"control", "system", "reboot"},
        {"control", "reboot"},
        {"control", IdText(id), "system", "11001"},
        {"control", IdText(id), "{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9}", "0x2AF9"},
        {"control", IdText(other), "reboot", "11001", "--selector", "3"}}) {
    const Ended ended = Do(words);
    EXPECT_EQ(ended.status, kExitWrongWords) << words.back();
    EXPECT_THAT(ended.messages, HasSubstr("Say --yes")) << words.back();
  }
  EXPECT_EQ(calls_, 0);
  EXPECT_EQ(Do({"control", "system", "reboot", "--yes"}).status, kExitDone);
  EXPECT_EQ(last_, "0 11001");
}

TEST_F(DoingTest, ControlThatRestartsTheMachineIsStillForTheServiceToAllow) {
  NewOffering(ktsvc::kSystemInterface);
  const Ended ended = Do({"control", "system", "reboot", "--yes"});
  EXPECT_EQ(ended.status, kExitNotPermitted);
  EXPECT_THAT(ended.messages, HasSubstr("--allow-restart"));
  EXPECT_EQ(calls_, 0);
}

TEST_F(DoingTest, TraceLevelIsShownAsANumberAndSet) {
  const Ended before = Do({"trace-level"});
  EXPECT_EQ(before.status, kExitDone);
  const std::string level = before.output.substr(0, before.output.size() - 1);
  EXPECT_EQ(Do({"trace-level", "6"}).output, "trace level 6, before " + level + "\n");
  EXPECT_EQ(Do({"trace-level"}).output, "6\n");
  EXPECT_EQ(Do({"trace-level", level}).output, "trace level " + level + ", before 6\n");
}

TEST_F(DoingTest, TraceLevelIsSetByWhoMay) {
  EXPECT_EQ(RunAs("reader", {"trace-level", "6"}).status, kExitNotPermitted);
  EXPECT_EQ(RunAs("reader", {"trace-level"}).status, kExitDone);
}

TEST_F(DoingTest, RaiseReachesWhoListens) {
  bus_test::Notices notices;
  alpha().notify = notices.Recorder();
  const KtCookie cookie = Subscribe(alpha(), "event.site.begin");
  const Ended ended = RunAs("doer", {"raise", "event.site.begin", "who:STR=alice"});
  EXPECT_EQ(ended.status, kExitDone) << ended.messages;
  EXPECT_EQ(ended.output, "raised event.site.begin\n");
  Deliver();
  EXPECT_THAT(notices.names(), testing::ElementsAre("event.site.begin"));
  EXPECT_EQ(EvUnregisterEvent(database(), cookie), 0U);
}

TEST_F(DoingTest, RaiseRefusesWordsThatAreNoProperties) {
  const Ended ended = Do({"raise", "event.site.begin", "alice"});
  EXPECT_EQ(ended.status, kExitWrongWords);
  EXPECT_THAT(ended.messages, HasSubstr("\"alice\", column 6"));
}

TEST_F(DoingTest, ExplainSaysYesWithItsStatusAndTheLine) {
  const Ended ended = RunAs("doer", {"explain", "control", "disk", "1"});
  EXPECT_EQ(ended.status, kExitDone) << ended.messages;
  EXPECT_THAT(ended.output, AllOf(testing::StartsWith("allowed: "), HasSubstr("access.conf:2"),
                                  HasSubstr("token doer operator")));
}

TEST_F(DoingTest, ExplainSaysNoWithItsStatusAndTheLine) {
  const Ended ended = RunAs("doer", {"explain", "control", "disk", "9000", "--selector", "1"});
  EXPECT_EQ(ended.status, kExitNotPermitted) << ended.messages;
  EXPECT_THAT(ended.output, AllOf(testing::StartsWith("not allowed: "),
                                  HasSubstr("*  access.conf:4  control disk * 9000 admin")));
}

TEST_F(DoingTest, ExplainAnswersWhoHasNoRole) {
  EXPECT_EQ(RunAs("guest", {"explain", "read"}).status, kExitNotPermitted);
}

TEST_F(DoingTest, ExplainKnowsControlsByTheirNames) {
  EXPECT_THAT(Do({"explain", "control", "system", "reboot"}).output,
              HasSubstr("restart the machine"));
}

TEST_F(DoingTest, ExplainRefusesWordsBehindAnActionThatTakesNone) {
  EXPECT_EQ(Do({"explain", "read", "disk"}).status, kExitWrongWords);
}

TEST_F(DoingTest, AServiceThatStopsTakesNoMoreControls) {
  NewDisk();
  server().RefuseWork();
  EXPECT_EQ(Do({"control", "disk", "1"}).status, kExitNoService);
  EXPECT_EQ(Do({"ls"}).status, kExitDone);
  EXPECT_EQ(calls_, 0);
}

}  // namespace
}  // namespace ktctl
