#include "fake/fake_test.h"
#include "objmodel/object.h"
#include "objmodel/thrown.h"

namespace {

using fake::Error;
using Names = std::vector<std::string>;

class ObjectTransaction : public fake::FrameworkTest {
 protected:
  void SetUp() override {
    FrameworkTest::SetUp();
    framework_.AddType("disk");
    id_ = framework_.AddObject("disk");
  }
  Names Stored() {
    Names names;
    for (const fake::Property& each : framework_.PropertiesOf(id_)) {
      names.push_back(each.name + "=" + each.text);
    }
    return names;
  }

  KtObjId id_{};
};

TEST_F(ObjectTransaction, CollectsWhatIsWrittenWhileItIsOpen) {
  CKtObject object(id_);
  object.BeginTransaction();
  EXPECT_TRUE(object.InTransaction());
  object.AddProp("b", 1, 0);
  const std::uint32_t value = 2;
  object.AddProperty(
      static_cast<const cuvo_property&>(CKtProperty("a", TYPE_UINT32, 0, 4, &value)));
  EXPECT_TRUE(Stored().empty());
  EXPECT_EQ(framework_.CountOf("ObSetProperty"), 0u);
  object.RollbackTransaction();
}

TEST_F(ObjectTransaction, CommitWritesWhatWasCollectedInOrderAndEndsIt) {
  CKtObject object(id_);
  object.BeginTransaction();
  object.AddProp("b", 1, 0);
  object.AddProp("a", 2, 0);
  object.AddProp("b", 3, 0);
  object.CommitTransaction();
  EXPECT_EQ(Stored(), (Names{"b=3", "a=2"}));
  EXPECT_FALSE(object.InTransaction());
  EXPECT_TRUE(fake::NothingKept());
  object.AddProp("c", 4, 0);
  EXPECT_EQ(Stored(), (Names{"b=3", "a=2", "c=4"}));
}

TEST_F(ObjectTransaction, ReadsGoToTheBusWhileItIsOpen) {
  CKtObject object(id_);
  object.AddProp("a", 1, 0);
  object.BeginTransaction();
  object.AddProp("a", 2, 0);
  std::int32_t value = 0;
  EXPECT_EQ(object.GetProp("a", value, false), 1);
  object.CommitTransaction();
  EXPECT_EQ(object.GetProp("a", value, false), 2);
}

TEST_F(ObjectTransaction, CollectsNamesAndStatesToo) {
  CKtObject object(id_);
  object.BeginTransaction();
  object.SetName(KT_W("n"));
  object.SetState(3);
  object.SetNameI18N(KtI18NDef{{}, 1, 0, "Disk %1"}, "A");
  EXPECT_TRUE(Stored().empty());
  object.CommitTransaction();
  EXPECT_EQ(framework_.PropertiesOf(id_).size(), 3u);
  EXPECT_EQ(object.GetName(), KT_W("Disk A"));
}

TEST_F(ObjectTransaction, RollbackDropsWhatWasCollected) {
  CKtObject object(id_);
  object.BeginTransaction();
  object.AddProp("a", 1, 0);
  object.RollbackTransaction();
  EXPECT_FALSE(object.InTransaction());
  EXPECT_TRUE(Stored().empty());
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(ObjectTransaction, IsNeitherOpenedTwiceNorEndedUnopened) {
  CKtObject object(id_);
  EXPECT_EQ(ThrownBy([&] { object.CommitTransaction(); }), 0xC1000001u);
  EXPECT_EQ(ThrownBy([&] { object.RollbackTransaction(); }), 0xC1000001u);
  object.BeginTransaction();
  object.AddProp("a", 1, 0);
  EXPECT_EQ(ThrownBy([&] { object.BeginTransaction(); }), 0xC1000001u);
  EXPECT_EQ(framework_.TracesAt(6).size(), 3u);
  object.CommitTransaction();
  EXPECT_EQ(Stored(), Names{"a=1"}) << "the refused second one has dropped nothing";
}

TEST_F(ObjectTransaction, StaysClosedWhenItsSetCannotBeCreated) {
  CKtObject object(id_);
  framework_.FailCall("PsCreatePropset", 1, 5);
  EXPECT_EQ(ThrownBy([&] { object.BeginTransaction(); }), 5u);
  EXPECT_FALSE(object.InTransaction());
}

TEST_F(ObjectTransaction, StaysOpenWhenAWriteFailsAndCanBeCommittedAgain) {
  CKtObject object(id_);
  object.BeginTransaction();
  object.AddProp("a", 1, 0);
  object.AddProp("b", 2, 0);
  framework_.FailCall("ObSetProperty", 2, 0xC1000010u);
  EXPECT_EQ(ThrownBy([&] { object.CommitTransaction(); }), 0xC1000010u);
  EXPECT_EQ(
      framework_.Traces(),
      std::vector{Error("hostkit: ERROR: in CKtObject::CommitTransaction() ObSetProperty() of "
                        "property b failed")});
  EXPECT_TRUE(object.InTransaction());
  EXPECT_EQ(Stored(), Names{"a=1"});
  object.CommitTransaction();
  EXPECT_EQ(Stored(), (Names{"a=1", "b=2"}));
}

TEST_F(ObjectTransaction, IsClosedAlsoWhenItsSetCannotBeDestroyed) {
  CKtObject object(id_);
  object.BeginTransaction();
  framework_.FailCall("PsDestroyPropset", 1, 5);
  EXPECT_EQ(ThrownBy([&] { object.CommitTransaction(); }), 5u);
  EXPECT_FALSE(object.InTransaction());
}

TEST_F(ObjectTransaction, IsDestroyedWithTheWrapper) {
  {
    CKtObject object(id_);
    object.BeginTransaction();
    object.AddProp("a", 1, 0);
  }
  EXPECT_TRUE(fake::NothingKept());
  EXPECT_TRUE(Stored().empty());
  EXPECT_TRUE(framework_.HasObject(id_));
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(ObjectTransaction, DestructorTracesAndSwallowsAFailingDestroy) {
  for (const KtStatus status : fake::kFailures) {
    framework_.ForgetTraces();
    EXPECT_EQ(ThrownBy([&] {
                CKtObject object(id_);
                object.BeginTransaction();
                framework_.FailCall("PsDestroyPropset", 1, status);
              }),
              0u);
    EXPECT_EQ(framework_.Traces(),
              (std::vector{
                  Error("hostkit: ERROR: in CKtPropertySet::Destroy() PsDestroyPropset() failed"),
                  Error("ERROR: ~CKtObject(): __m_transaction.Destroy() failed")}));
  }
}

}  // namespace
