// Controls, events and the trace level: what is done for whom, and what goes on record.
#include <gmock/gmock.h>

#include "api/api_test.h"

namespace api_test {
namespace {

using testing::HasSubstr;

constexpr const char* kRestart = R"({"interface":"system","code":11001})";
constexpr KtGuid kSystemInterface{
    0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};

class ApiControl : public ApiTest {
 protected:
  void SetUp() override {
    ApiTest::SetUp();
    disk = NewDisk();
    alpha().control = [this](const auto&) {
      ++reached;
      return 0U;
    };
  }

  KtObjId NewSystem() {
    const KtObjId id = NewObject();
    EXPECT_EQ(ObRegisterInterface(database(), &id, provider(), &kSystemInterface), 0U);
    return id;
  }

  KtObjId disk{};
  int reached = 0;
};

TEST_F(ApiControl, ReachesTheProviderWithAllThatWasAsked) {
  bus_test::ScriptedProvider::ControlCall seen{};
  std::string text;
  alpha().control = [&](const auto& call) {
    seen = call;
    text = bus_test::TextOf(bus_test::Find(call.input, "name"));
    return 0U;
  };
  Control(Operator(), disk,
          R"({"interface":"disk","selector":3,"code":77,
              "input":[{"name":"name","type":"STR","value":"sda"}]})");
  EXPECT_TRUE(bus_test::SameId(seen.object, disk));
  EXPECT_EQ(seen.selector, 3U);
  EXPECT_EQ(seen.code, 77U);
  EXPECT_EQ(std::memcmp(&seen.interface_id, &kDiskInterface, sizeof(KtGuid)), 0);
  EXPECT_EQ(text, "sda");
}

TEST_F(ApiControl, AnswersStatusOutputAndDuration) {
  alpha().control = [](const auto& call) {
    EXPECT_EQ(bus_test::AddUint32(call.output, "previous", 4), 0U);
    return 0x41000012U;
  };
  const Json answer = Document(Control(Operator(), disk, R"({"interface":"disk","code":77})"));
  EXPECT_EQ(answer["status"].dump(),
            R"({"code":1090519058,"hex":"0x41000012","name":"KTSTATUS_UNCHANGED","fails":false})");
  EXPECT_EQ(answer["output"].dump(), R"([{"name":"previous","type":"UINT32","value":4}])");
  EXPECT_TRUE(answer["seconds"].is_number());
}

TEST_F(ApiControl, AnswersAFailureOfTheProviderAsItsStatus) {
  alpha().control = [](const auto&) { return 0xC1000005U; };
  const Json answer = Document(Control(Operator(), disk, R"({"interface":"disk","code":77})"));
  EXPECT_EQ(answer["status"]["hex"], "0xC1000005");
  EXPECT_EQ(answer["status"]["fails"], true);
}

TEST_F(ApiControl, AnswersAProviderThatThrows) {
  alpha().control = [](const auto&) -> KtStatus { throw std::runtime_error("oops"); };
  const Json answer = Document(Control(Operator(), disk, R"({"interface":"disk","code":77})"));
  EXPECT_EQ(answer["status"]["hex"], "0xC1000001");
}

TEST_F(ApiControl, AnswersWhenTheProviderDestroysTheOutputSet) {
  alpha().control = [](const auto& call) { return PsDestroyPropset(call.output); };
  const Json answer = Document(Control(Operator(), disk, R"({"interface":"disk","code":77})"));
  EXPECT_EQ(answer["output"].size(), 0U);
}

TEST_F(ApiControl, TakesAnInterfaceByGuid) {
  Document(Control(Operator(), disk,
                   R"({"interface":"{7EC748B5-C965-4607-8371-EB3B1B0DB7EC}","code":1})"));
  EXPECT_EQ(reached, 1);
}

TEST_F(ApiControl, AnswersNotFoundForAnObjectThatIsNotThere) {
  ASSERT_EQ(ObDeleteObject(database(), &disk), 0U);
  const Response response = Control(Operator(), disk, R"({"interface":"disk","code":1})");
  EXPECT_EQ(Reason(response, 404), "no object " + IdText(disk));
  EXPECT_EQ(Json::parse(response.body)["error"]["code"], "0xC1000010");
}

TEST_F(ApiControl, AnswersNotFoundForAnInterfaceThatIsNotOffered) {
  const Response response = Control(Operator(), disk, R"({"interface":"volume","code":1})");
  EXPECT_EQ(Reason(response, 404), "object " + IdText(disk) + " does not offer interface volume");
  EXPECT_EQ(Json::parse(response.body)["error"]["code"], "0xC1000041");
}

TEST_F(ApiControl, AnswersGoneForAProviderThatHasLeft) {
  bus_test::ScriptedProvider beta;
  beta.Attach(database(), "beta");
  const KtObjId id = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &id, beta.handle(), &kDiskInterface), 0U);
  ASSERT_EQ(KtBusDetachProvider(beta.handle()), 0U);
  const Response response = Control(Operator(), id, R"({"interface":"disk","code":1})");
  EXPECT_THAT(Reason(response, 410), HasSubstr("has gone"));
  EXPECT_EQ(Json::parse(response.body)["error"]["code"], "0xC1000042");
}

TEST_F(ApiControl, RefusesABodyWithAFaultAndNamesIt) {
  const auto reason = [this](const std::string& body) {
    return Reason(Control(Operator(), disk, body), 400);
  };
  EXPECT_EQ(reason("{}"), "the member \"interface\" is missing");
  EXPECT_EQ(reason(R"({"interface":"disk"})"), "the member \"code\" is missing");
  EXPECT_EQ(reason(R"({"interface":5,"code":1})"), "\"interface\" is no text");
  EXPECT_EQ(reason(R"({"interface":"none","code":1})"), "\"none\" is no interface");
  EXPECT_EQ(reason(R"({"interface":"disk","code":"1"})"),
            "\"code\" is no whole number from 0 to 4294967295");
  EXPECT_EQ(reason(R"({"interface":"disk","code":4294967296})"),
            "\"code\" is no whole number from 0 to 4294967295");
  EXPECT_EQ(reason(R"({"interface":"disk","code":-1})"),
            "\"code\" is no whole number from 0 to 4294967295");
  EXPECT_EQ(reason(R"({"interface":"disk","code":1.5})"),
            "\"code\" is no whole number from 0 to 4294967295");
  EXPECT_EQ(reason(R"({"interface":"disk","code":1,"selector":true})"),
            "\"selector\" is no whole number from 0 to 4294967295");
  EXPECT_EQ(reason(R"({"interface":"disk","code":1,"input":{}})"),
            "input: an array is expected here");
  EXPECT_EQ(
      reason(R"({"interface":"disk","code":1,"input":[{"name":"a","type":"UINT32","value":"x"}]})"),
      "input[0].value: a whole number from 0 to 4294967295 is expected here");
  EXPECT_EQ(reason(R"({"interface":"disk","code":1,"caller":"root"})"),
            "the member \"caller\" is unknown");
  EXPECT_EQ(reached, 0);
}

TEST_F(ApiControl, PutsWhatWasDoneOnRecord) {
  alpha().control = [](const auto&) { return 0xC1000005U; };
  Control(Operator(), disk, R"({"interface":"disk","selector":3,"code":77})");
  const std::vector<Json> lines = AuditLines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0]["caller"]["name"], "otto");
  EXPECT_EQ(lines[0]["action"], "control");
  EXPECT_EQ(lines[0]["object"], IdText(disk));
  EXPECT_EQ(lines[0]["interfaceName"], "disk");
  EXPECT_EQ(lines[0]["selector"], 3);
  EXPECT_EQ(lines[0]["code"], 77);
  EXPECT_EQ(lines[0]["status"], "0xC1000005");
  EXPECT_EQ(lines[0]["allowed"], true);
  EXPECT_EQ(lines[0]["decidedBy"], "access.conf:2");
  EXPECT_TRUE(lines[0]["durationUs"].is_number());
}

TEST_F(ApiControl, PutsWhatWasRefusedOnRecord) {
  Control(Observer(), disk, R"({"interface":"disk","code":77})");
  const std::vector<Json> lines = AuditLines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0]["caller"]["name"], "olga");
  EXPECT_EQ(lines[0]["allowed"], false);
  EXPECT_EQ(lines[0]["status"], "0x80070005");
}

TEST_F(ApiControl, PutsWhatTheBusDidNotSendOnRecordWithItsStatus) {
  ASSERT_EQ(ObDeleteObject(database(), &disk), 0U);
  Control(Operator(), disk, R"({"interface":"disk","code":77})");
  ASSERT_EQ(AuditLines().size(), 1U);
  EXPECT_EQ(AuditLines()[0]["status"], "0xC1000010");
  EXPECT_EQ(AuditLines()[0]["allowed"], true);
}

TEST_F(ApiControl, RefusesWithTheSentenceThatSaysWhy) {
  const Response response = Control(Observer(), disk, R"({"interface":"disk","code":77})");
  EXPECT_EQ(Reason(response, 403),
            "user olga (1001) may not send control 77, selector 0, through interface disk: that "
            "needs operator, and access.conf:1 gives observer.");
  EXPECT_EQ(Json::parse(response.body)["error"]["code"], "0x80070005");
  EXPECT_EQ(reached, 0);
}

TEST_F(ApiControl, FollowsTheLinesAboutSingleControls) {
  EXPECT_EQ(Control(Observer(), disk, R"({"interface":"disk","code":9000})").status, 200U);
  EXPECT_EQ(Control(Operator(), disk, R"({"interface":"disk","code":9001})").status, 403U);
  EXPECT_EQ(Control(Admin(), disk, R"({"interface":"disk","code":9001})").status, 200U);
  EXPECT_EQ(reached, 2);
}

TEST_F(ApiControl, TellsSomebodyWithoutARightNothingOfWhatIsThere) {
  const KtObjId there = disk;
  const KtObjId gone = NewObject();
  ASSERT_EQ(ObDeleteObject(database(), &gone), 0U);
  for (const KtObjId& id : {there, gone}) {
    EXPECT_EQ(Control(Nobody(), id, R"({"interface":"disk","code":77})").status, 403U);
    EXPECT_EQ(Ask(Nobody(), "GET", "/v1/objects/" + IdText(id)).status, 403U);
  }
}

TEST_F(ApiControl, NeverSendsARestartThatTheServiceDoesNotAllow) {
  const KtObjId system = NewSystem();
  const Response response = Control(Admin(), system, kRestart);
  EXPECT_THAT(Reason(response, 403), HasSubstr("the service was started without --allow-restart"));
  EXPECT_EQ(Json::parse(response.body)["error"]["code"], "0x80070005");
  EXPECT_EQ(reached, 0);
  ASSERT_EQ(AuditLines().size(), 1U);
  EXPECT_EQ(AuditLines()[0]["allowed"], false);
}

TEST_F(ApiControl, SendsARestartForAnAdminWhenTheServiceAllowsIt) {
  UsePolicy("user root admin\nuser otto operator\ncontrol system * 11001 operator\n", true);
  const KtObjId system = NewSystem();
  EXPECT_EQ(Control(Operator(), system, kRestart).status, 403U);
  EXPECT_EQ(reached, 0);
  EXPECT_EQ(Control(Admin(), system, kRestart).status, 200U);
  EXPECT_EQ(reached, 1);
}

TEST_F(ApiControl, SendsNothingWhileTheServiceStops) {
  stopping = true;
  EXPECT_EQ(Reason(Control(Admin(), disk, R"({"interface":"disk","code":1})"), 503),
            "the service is stopping");
  EXPECT_EQ(reached, 0);
}

TEST_F(ApiControl, LeavesNothingBehind) {
  const KtBusLedgerTotal before = bus_test::Sum();
  for (int i = 0; i < 10; ++i) {
    Control(Operator(), disk,
            R"({"interface":"disk","code":1,"input":[{"name":"s","type":"PROPSETZ",
                "value":[[{"name":"x","type":"STRZ","value":["a","b"]}],null]}]})");
    Control(Operator(), disk, R"({"interface":"volume","code":1})");
  }
  EXPECT_EQ(bus_test::Sum().outstanding, before.outstanding);
  EXPECT_EQ(activity().CountNow(), 0U);
}

TEST_F(ApiControl, RaisesAnEventWithItsProperties) {
  std::string seen;
  alpha().notify = [&seen](const KtEventRecord& record) {
    seen =
        std::string(record.name) + " " + bus_test::TextOf(bus_test::Find(record.properties, "who"));
    return 0U;
  };
  const KtCookie cookie = Subscribe(alpha(), "event.test.*");
  const Json answer = Document(
      Ask(Operator(), "POST", "/v1/events",
          R"({"name":"event.test.one","properties":[{"name":"who","type":"STR","value":"me"}]})"),
      202);
  Deliver();
  EXPECT_EQ(EvUnregisterEvent(database(), cookie), 0U);
  EXPECT_EQ(answer.dump(), R"({"name":"event.test.one"})");
  EXPECT_EQ(seen, "event.test.one me");
  ASSERT_EQ(AuditLines().size(), 1U);
  EXPECT_EQ(AuditLines()[0]["action"], "raise-event");
  EXPECT_EQ(AuditLines()[0]["object"], "event.test.one");
}

TEST_F(ApiControl, RaisesNoEventForAnObserver) {
  EXPECT_EQ(Ask(Observer(), "POST", "/v1/events", R"({"name":"event.x"})").status, 403U);
  ASSERT_EQ(AuditLines().size(), 1U);
  EXPECT_EQ(AuditLines()[0]["allowed"], false);
}

TEST_F(ApiControl, RaisesNoEventWithoutAName) {
  EXPECT_EQ(Reason(Ask(Admin(), "POST", "/v1/events", "{}"), 400),
            "the member \"name\" is missing");
  EXPECT_EQ(Reason(Ask(Admin(), "POST", "/v1/events", R"({"name":""})"), 400),
            "\"name\" is empty or has a zero character");
  EXPECT_EQ(Reason(Ask(Admin(), "POST", "/v1/events", R"({"name":"a\u0000"})"), 400),
            "\"name\" is empty or has a zero character");
}

TEST_F(ApiControl, SetsTheTraceLevelAndTellsThePreviousOne) {
  EXPECT_EQ(GetJson("/v1/trace-level").dump(), R"({"level":1})");
  EXPECT_EQ(Document(Ask(Operator(), "PUT", "/v1/trace-level", R"({"level":3})")).dump(),
            R"({"level":3,"previous":1})");
  EXPECT_EQ(KtBusTraceLevel(), 3U);
  ASSERT_EQ(AuditLines().size(), 1U);
  EXPECT_EQ(AuditLines()[0]["action"], "trace-level");
  EXPECT_EQ(AuditLines()[0]["level"], 3);
  EXPECT_EQ(AuditLines()[0]["object"], nullptr);
  EXPECT_EQ(AuditLines()[0]["status"], "0x00000000");
}

TEST_F(ApiControl, KeepsTheTraceLevelForWhoMayNotSetIt) {
  EXPECT_EQ(Ask(Observer(), "PUT", "/v1/trace-level", R"({"level":3})").status, 403U);
  ASSERT_EQ(AuditLines().size(), 1U);
  EXPECT_EQ(AuditLines()[0]["level"], 3);
  EXPECT_EQ(AuditLines()[0]["allowed"], false);
  EXPECT_EQ(KtBusTraceLevel(), 1U);
}

TEST_F(ApiControl, RefusesATraceLevelThatIsNone) {
  EXPECT_EQ(Reason(Ask(Admin(), "PUT", "/v1/trace-level", R"({"level":8})"), 400),
            "\"level\" is no level from 0 to 7");
  EXPECT_EQ(Reason(Ask(Admin(), "PUT", "/v1/trace-level", "{}"), 400),
            "the member \"level\" is missing");
  EXPECT_EQ(KtBusTraceLevel(), 1U);
}

}  // namespace
}  // namespace api_test
