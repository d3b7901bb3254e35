#include "dispatch/alert.h"

#include <optional>
#include <string>
#include <vector>

#include "base/status.h"
#include "dispatch/alert_object.h"
#include "fake/fake_test.h"
#include "objmodel/property.h"

namespace {

constexpr KtAlertDefinition kDefinition{"alert.disk", "A disk fails", 1, 0};

class AlertTest : public fake::FrameworkTest {
 protected:
  std::vector<std::string> NamesIn(const CKtAlert& alert) { return alert.GetKeys(); }

  // Calls and returns the status that was thrown, nothing when none was.
  template <typename Call>
  std::optional<KtStatus> Thrown(Call call) {
    try {
      static_cast<void>(call());
    } catch (std::uint32_t status) {
      return status;
    }
    return std::nullopt;
  }
};

TEST_F(AlertTest, PublishMakesTheNameKnown) {
  EXPECT_EQ(CKtAlertObject::Publish(kDefinition), 0u);
  EXPECT_EQ(framework_.PublishedAlerts(), std::vector<std::string>{"alert.disk"});
  EXPECT_EQ(framework_.CallTexts().size(), 1u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(AlertTest, PublishOfAPublishedNameLogsTheWarningAndReturnsItsStatusWithoutThrowing) {
  ASSERT_EQ(CKtAlertObject::Publish(kDefinition), 0u);
  EXPECT_EQ(CKtAlertObject::Publish(kDefinition), 0xC100002Du);
  EXPECT_EQ(framework_.Traces(),
            std::vector{fake::Error("WARNING: CKtAlertObject::Publish() Failed with error "
                                    "KTERROR_REDEFINING_ALERT.  The alert alert.disk is already "
                                    "defined")});
}

TEST_F(AlertTest, PublishThrowsAnyOtherFailureAfterALine) {
  for (const KtStatus status : fake::kFailures) {
    framework_.FailCall("ObPublishAlert", 1, status);
    EXPECT_EQ(Thrown([] { return CKtAlertObject::Publish(kDefinition); }), status);
  }
  EXPECT_EQ(framework_.Traces()[0],
            fake::Error("ERROR: CKtAlertObject::Publish() Failed with error c1000001"));
  EXPECT_EQ(framework_.Traces().size(), std::size(fake::kFailures));
}

TEST_F(AlertTest, UnPublishWithdrawsTheName) {
  CKtAlertObject::Publish(kDefinition);
  EXPECT_EQ(CKtAlertObject::UnPublish("alert.disk"), 0u);
  EXPECT_TRUE(framework_.PublishedAlerts().empty());
}

TEST_F(AlertTest, UnPublishThrowsAFailureAfterALine) {
  framework_.FailCall("ObUnpublishAlert", 1, 0xC1000010);
  EXPECT_EQ(Thrown([] { return CKtAlertObject::UnPublish("alert.disk"); }), 0xC1000010u);
  EXPECT_EQ(framework_.Traces(),
            std::vector{fake::Error("CKtAlertObject::UnPublish() Failed with error c1000010")});
}

TEST_F(AlertTest, SetMessageNumbersTheLinesFromZeroAndAnOwnNumberLeavesTheCounterAlone) {
  CKtAlert alert("alert.disk");
  EXPECT_EQ(alert.SetMessage("first", 10000), 0u);
  EXPECT_EQ(alert.SetMessage("elsewhere", 3), 0u);
  EXPECT_EQ(alert.SetMessage("second"), 0u);
  EXPECT_EQ(NamesIn(alert), (std::vector<std::string>{"AlertMsg0", "AlertMsg3", "AlertMsg1"}));
  std::string text;
  EXPECT_EQ(alert.GetProp("AlertMsg1", text, false), "second");
}

TEST_F(AlertTest, SetMessageCreatesThePropertySetOnFirstNeedOnly) {
  CKtAlert alert("alert.disk");
  EXPECT_EQ(alert.Handle(), nullptr);
  alert.SetMessage("first");
  alert.SetMessage("second");
  EXPECT_EQ(framework_.CountOf("PsCreatePropset"), 1u);
}

TEST_F(AlertTest, SettersCreateThePropertySetOnFirstNeedToo) {
  std::uint32_t value = 3;
  CKtAlert typed("alert.disk");
  EXPECT_EQ(typed.AddProp("count", value, 0), 0u);
  EXPECT_EQ(typed.SetMessage("text"), 0u);
  EXPECT_EQ(NamesIn(typed), (std::vector<std::string>{"count", "AlertMsg0"}));
  CKtAlert raw("alert.disk");
  EXPECT_EQ(raw.AddProperty(cuvo_property{"count", TYPE_UINT32, 0, sizeof value, 0, &value}), 0u);
  EXPECT_EQ(NamesIn(raw), std::vector<std::string>{"count"});
  CKtAlert replacing("alert.disk");
  EXPECT_EQ(replacing.AddProperty(CKtProperty("count", TYPE_UINT32, 0, sizeof value, &value)), 0u);
  EXPECT_EQ(NamesIn(replacing), std::vector<std::string>{"count"});
  CKtAlert setting("alert.disk");
  EXPECT_NE(
      Thrown([&] {
        return setting.SetProperty(CKtProperty("count", TYPE_UINT32, 0, sizeof value, &value));
      }),
      std::nullopt)
      << "there is a set, without that property";
  EXPECT_NE(setting.Handle(), nullptr);
  EXPECT_EQ(framework_.CountOf("PsCreatePropset"), 4u);
}

TEST_F(AlertTest, RaiseHandsOverNameSetAndObject) {
  CKtAlertObject::Publish(kDefinition);
  CKtAlert alert("alert.disk", fake::ObjectNumber(5));
  alert.SetMessage("it fails");
  alert.AddProp("count", std::uint32_t{3}, 0);
  framework_.ForgetCalls();
  EXPECT_EQ(alert.Raise(), 0u);
  const std::vector<std::string> calls = framework_.CallTexts();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_NE(calls[0].find("ObRaiseAlert(db#1, provider#1, \"alert.disk\""), std::string::npos);
  EXPECT_NE(calls[0].find("#5"), std::string::npos);
  ASSERT_EQ(framework_.RaisedAlerts().size(), 1u);
  EXPECT_EQ(framework_.RaisedAlerts()[0].properties.size(), 2u);
}

TEST_F(AlertTest, RaiseWithoutMessagesHandsOverAnEmptySet) {
  CKtAlertObject::Publish(kDefinition);
  CKtAlert alert("alert.disk");
  EXPECT_EQ(alert.Raise(), 0u);
  EXPECT_EQ(framework_.CountOf("PsCreatePropset"), 1u);
  ASSERT_EQ(framework_.RaisedAlerts().size(), 1u);
  EXPECT_TRUE(framework_.RaisedAlerts()[0].properties.empty());
}

TEST_F(AlertTest, RaiseOfAnUnpublishedAlertLogsTheQuestionAndThrowsTheStatusOfTheHost) {
  CKtAlert alert("alert.disk");
  EXPECT_EQ(Thrown([&] { return alert.Raise(); }), 0xC100002Eu);
  EXPECT_EQ(framework_.Traces(),
            std::vector{fake::Error("ERROR: CKtAlert::Raise(alert.disk) Failed to raise alert, did "
                                    "you remember to publish it? (ex: "
                                    "CKtAlertTypeObject::Publish(MY_ALERT_DEF);)")});
}

TEST_F(AlertTest, KeepsNothingWhicheverCallFails) {
  CKtAlertObject::Publish(kDefinition);
  const std::size_t happened = fake::FailEveryCallInTurn(
      {std::begin(fake::kFailures), std::end(fake::kFailures)}, [&](const auto& arm, KtStatus) {
        {
          CKtAlert alert("alert.disk");
          arm();
          Thrown([&] { return alert.AddProp("count", std::uint32_t{3}, 0); });
          Thrown([&] { return alert.SetMessage("text"); });
          Thrown([&] { return alert.Raise(); });
        }
        EXPECT_TRUE(framework_.Outstanding().Empty());
      });
  EXPECT_GE(happened, 4u * std::size(fake::kFailures));
}

}  // namespace
