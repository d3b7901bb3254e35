#include "dispatch/control_map.h"

#include <optional>
#include <vector>

#include "base/status.h"
#include "dispatch/control_manager.h"
#include "support/control.h"
#include "support/managers_test.h"

namespace {

using support::Body;
using support::BodyMap;
using support::kCode;
using support::kInterface;
using support::kSelector;
using support::Request;

constexpr const char* kDuplicate = "ERROR: CKtControlMap::Register() : KTERROR_DUPLICATE_INTERFACE";

class ControlMapTest : public support::ManagersTest {
 protected:
  void SetUp() override {
    ManagersTest::SetUp();
    framework_.AddType("disk");
    object_ = framework_.AddObject("disk");
    map_.emplace([](CKtControlRequest&) { return KtStatus{0x41000012}; });
  }
  void ReleaseModuleState() override {
    map_.reset();
    ManagersTest::ReleaseModuleState();
  }

  KtStatus RegisterOne(std::uint32_t code = kCode) {
    return map_->Register(kInterface, kSelector, code, &support::CallBody, object_, &body_);
  }
  KtStatus Send(std::uint32_t code = kCode) {
    Request request(object_, kSelector, code);
    return CKtControlManager::Instance().Invoke(request);
  }

  KtObjId object_{};
  Body body_ = [](CKtControlRequest&) { return KtStatus{0x41000001}; };
  std::optional<BodyMap> map_;
};

TEST_F(ControlMapTest, RegisterForOneObjectMakesItOfferTheInterface) {
  EXPECT_EQ(RegisterOne(), 0u);
  ASSERT_EQ(framework_.InterfacesOf(object_).size(), 1u);
  EXPECT_TRUE(kt::EqualGuids(framework_.InterfacesOf(object_)[0], kInterface));
  EXPECT_EQ(framework_.InterfaceOwner(object_, kInterface), framework_.provider());
  EXPECT_EQ(Send(), 0x41000001u);
}

TEST_F(ControlMapTest, RegisterForOneObjectTakesAnInterfaceThatItOffersAlready) {
  EXPECT_EQ(RegisterOne(1), 0u);
  EXPECT_EQ(RegisterOne(2), 0u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(ControlMapTest, RegisterForOneObjectAnswersUnexpectedWhenTheInterfaceCannotBeRegistered) {
  for (const KtStatus status : fake::kFailures) {
    framework_.ForgetTraces();
    framework_.FailCall("ObRegisterInterface", 1, status);
    EXPECT_EQ(RegisterOne(), KTERROR_UNEXPECTED);
    ASSERT_EQ(framework_.Traces().size(), 2u) << "the object's line and the map's";
    EXPECT_EQ(framework_.Traces()[1],
              fake::Error("ERROR: CKtControlMap::Register() : Unable to register specified "
                          "interface on this object."));
    EXPECT_EQ(map_->Count(), 0u);
  }
}

TEST_F(ControlMapTest, RegisterTwiceYieldsZeroThenDuplicateInterfaceAndThePathIsNamed) {
  EXPECT_EQ(RegisterOne(), 0u);
  EXPECT_EQ(RegisterOne(), 0xC1000029u);
  EXPECT_EQ(framework_.Traces(),
            (std::vector{fake::Error(std::string("hostkit: ERROR: CKtControlManager::"
                                                 "RegisterPath() : KTERROR_DUPLICATE_INTERFACE "
                                                 "OBJ:{00000001-0001-0000-0000-000000000000},"
                                                 "INTF:") +
                                     support::kInterfaceText + ",MJ:0,MN:11001"),
                         fake::Error(kDuplicate)}));
  EXPECT_EQ(map_->Count(), 1u);
  EXPECT_EQ(Send(), 0x41000001u);
}

TEST_F(ControlMapTest, RegisterForAnyObjectHandsTheMapItselfToTheHandler) {
  EXPECT_EQ(map_->Register(kInterface, kSelector, kCode, &BodyMap::Handle), 0u);
  EXPECT_EQ(Send(), 0x41000012u);
  EXPECT_EQ(framework_.CountOf("ObRegisterInterface"), 0u);
  EXPECT_TRUE(map_->IsRegistered(kInterface, kSelector, kCode, kt::kNullObjId));
  EXPECT_FALSE(map_->IsRegistered(kInterface, kSelector, kCode, object_));
}

TEST_F(ControlMapTest, RegisterForAnyObjectAnswersEveryRefusalAsDuplicateInterface) {
  framework_.FailCall("KtGUIDToString", 1, 0);
  EXPECT_EQ(map_->Register(kInterface, kSelector, kCode, &BodyMap::Handle),
            KTERROR_DUPLICATE_INTERFACE);
  EXPECT_EQ(framework_.Traces().back(), fake::Error(kDuplicate));
  EXPECT_EQ(map_->Count(), 0u);
  EXPECT_EQ(map_->Register(kInterface, kSelector, kCode, &BodyMap::Handle), 0u);
}

TEST_F(ControlMapTest, UnRegisterTakesTheHandlerOutHereAndInTheManager) {
  ASSERT_EQ(RegisterOne(1), 0u);
  ASSERT_EQ(RegisterOne(2), 0u);
  ASSERT_EQ(RegisterOne(3), 0u);
  EXPECT_EQ(map_->UnRegister(kInterface, kSelector, 2, object_), 0u);
  EXPECT_EQ(map_->Count(), 2u);
  EXPECT_TRUE(map_->IsRegistered(kInterface, kSelector, 1, object_));
  EXPECT_FALSE(map_->IsRegistered(kInterface, kSelector, 2, object_));
  EXPECT_TRUE(map_->IsRegistered(kInterface, kSelector, 3, object_));
  EXPECT_EQ(Send(2), KTERROR_UNEXPECTED);
  EXPECT_EQ(Send(3), 0x41000001u);
}

TEST_F(ControlMapTest, UnRegisterOfAnUnknownHandlerLeavesBothLines) {
  EXPECT_EQ(map_->UnRegister(kInterface, kSelector, kCode, object_), KTERROR_UNEXPECTED);
  ASSERT_EQ(framework_.Traces().size(), 2u);
  EXPECT_EQ(framework_.Traces()[0].level, 1u);
  EXPECT_EQ(framework_.Traces()[1],
            fake::Error("ERROR: CKtControlMap::UnRegister() : Method not found."));
}

TEST_F(ControlMapTest, UnRegisterRemovesFromTheMapAlsoWhatTheManagerDoesNotKnow) {
  ASSERT_EQ(RegisterOne(), 0u);
  CKtControlManager::Instance().UnRegisterPath(kInterface, kSelector, kCode, object_);
  EXPECT_EQ(map_->UnRegister(kInterface, kSelector, kCode, object_), 0u);
  EXPECT_EQ(map_->Count(), 0u);
}

TEST_F(ControlMapTest, UnRegisterAllFreesEveryPath) {
  ASSERT_EQ(RegisterOne(1), 0u);
  ASSERT_EQ(map_->Register(kInterface, kSelector, 2, &BodyMap::Handle), 0u);
  map_->UnRegisterAll();
  EXPECT_EQ(map_->Count(), 0u);
  EXPECT_EQ(Send(1), KTERROR_UNEXPECTED);
  EXPECT_EQ(Send(2), KTERROR_UNEXPECTED);
  EXPECT_EQ(RegisterOne(1), 0u);
}

TEST_F(ControlMapTest, UnRegisterAllGoesInOrderOfRegistration) {
  for (const std::uint32_t code : {2u, 3u, 1u}) {
    ASSERT_EQ(map_->Register(kInterface, kSelector, code, &BodyMap::Handle), 0u);
    // Behind the map's back, so that each path leaves a line when its turn comes.
    ASSERT_EQ(
        CKtControlManager::Instance().UnRegisterPath(kInterface, kSelector, code, kt::kNullObjId),
        0u);
  }
  framework_.ForgetTraces();
  map_->UnRegisterAll();
  std::vector<fake::TraceLine> expected;
  for (const char* const code : {"2", "3", "1"}) {
    expected.push_back(fake::Info(
        std::string("hostkit: ERROR: CKtControlManager::UnRegisterPath() : specified path OBJ:") +
        support::kNullText + ",INTF:" + support::kInterfaceText + ",MJ:0,MN:" + code +
        " not found. KTERROR_UNEXPECTED"));
  }
  EXPECT_EQ(framework_.Traces(), expected);
}

TEST_F(ControlMapTest, IsUnregisteredByItsEnd) {
  ASSERT_EQ(RegisterOne(), 0u);
  map_.reset();
  EXPECT_EQ(Send(), KTERROR_UNEXPECTED);
}

TEST_F(ControlMapTest, ComesAndGoesWhicheverCallFails) {
  const std::size_t happened = fake::FailEveryCallInTurn(
      {std::begin(fake::kFailures), std::end(fake::kFailures)}, [&](const auto& arm, KtStatus) {
        arm();
        static_cast<void>(RegisterOne(1));
        static_cast<void>(map_->Register(kInterface, kSelector, 2, &BodyMap::Handle));
        static_cast<void>(map_->UnRegister(kInterface, kSelector, 1, object_));
        map_->UnRegisterAll();
        EXPECT_EQ(map_->Count(), 0u);
        EXPECT_EQ(framework_.Outstanding().blocks, 0u);
        EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
        if (!framework_.FailureHappened()) return;
        EXPECT_EQ(Send(1), KTERROR_UNEXPECTED);
        EXPECT_EQ(Send(2), KTERROR_UNEXPECTED);
      });
  EXPECT_GE(happened, 8u * std::size(fake::kFailures));
}

TEST(ControlMapEntry, GivesBackWhatItWasMadeOf) {
  const CKtControlMapEntry entry(nullptr, 1, 2, kInterface, nullptr, fake::ObjectNumber(3));
  KtGuid interface_id{};
  KtObjId object_id{};
  EXPECT_EQ(entry.GetSelector(), 1u);
  EXPECT_EQ(entry.GetControlCode(), 2u);
  EXPECT_EQ(&entry.GetInterfaceId(interface_id), &interface_id);
  EXPECT_TRUE(kt::EqualGuids(interface_id, kInterface));
  EXPECT_EQ(&entry.GetObjectId(object_id), &object_id);
  EXPECT_TRUE(kt::EqualGuids(object_id.guid, fake::ObjectNumber(3).guid));
}

TEST(ControlMapEntry, MatchesAllFourValuesOnly) {
  const CKtControlMapEntry entry(nullptr, 1, 2, kInterface, nullptr, fake::ObjectNumber(3));
  EXPECT_TRUE(entry.Matches(kInterface, 1, 2, fake::ObjectNumber(3)));
  EXPECT_FALSE(entry.Matches(kt::kNullObjId.guid, 1, 2, fake::ObjectNumber(3)));
  EXPECT_FALSE(entry.Matches(kInterface, 9, 2, fake::ObjectNumber(3)));
  EXPECT_FALSE(entry.Matches(kInterface, 1, 9, fake::ObjectNumber(3)));
  EXPECT_FALSE(entry.Matches(kInterface, 1, 2, fake::ObjectNumber(9)));
}

}  // namespace
