// The six functions of the built module: names, guards, statuses.
#include "module/module_test.h"

namespace {

using Entry = ModuleTest;
using BeforeInitialize = ModuleTest;
using AfterShutdown = ModuleTest;
using Running = ModuleTest;

TEST_F(Entry, RefusesEveryOtherNameAndLeavesTheTableAlone) {
  for (const KtWchar* name : {KT_W("hostkits"), KT_W("HOSTKIT"), KT_W("hostki"), KT_W("")}) {
    LoadedModule other;
    EXPECT_EQ(other.Enter(name), 0xC1000005u);
    EXPECT_EQ(other.table().Control, nullptr);
    EXPECT_EQ(other.table().Version, nullptr);
  }
}

TEST_F(Entry, FillsAllSixSlotsForItsName) {
  const KtProviderTable& table = module_->table();
  EXPECT_TRUE(table.Control && table.Initialize && table.Shutdown && table.GetAttr &&
              table.ChangeNotify && table.Version);
}

TEST_F(BeforeInitialize, SaysThatTheProviderIsNotInstantiated) {
  EXPECT_EQ(module_->Control({}, kSystemInterface, kTraceLevelControl, nullptr, nullptr),
            kUnexpected);
  EXPECT_EQ(module_->table().GetAttr(0, 0, 0, 0), kUnexpected);
  EXPECT_EQ(module_->Notify(kReadyEvent, framework_.database()), kUnexpected);
  for (const char* function : {"Control", "GetAttr", "ChangeNotify"}) {
    EXPECT_TRUE(fake::Traced(6, std::string("hostkit: ERROR: in CKtProvider::__KtApi") + function +
                                    "(), provider object is not instantiated."));
  }
  EXPECT_EQ(framework_.Traces().size(), 3u);
}

TEST_F(BeforeInitialize, HasNoVersionAndSaysNothing) {
  KtWchar* text = nullptr;
  EXPECT_EQ(module_->table().Version(&text), kNotImplemented);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(BeforeInitialize, CannotBeShutDown) {
  EXPECT_EQ(Shutdown(), kUnexpected);
  EXPECT_TRUE(
      fake::Traced(6, "hostkit::__KtApiShutdown(), ERROR: Provider object is not instantiated."));
  EXPECT_EQ(Initialize(), 0u) << "the refused shutdown closes nothing";
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(AfterShutdown, EveryEntryIsClosed) {
  ASSERT_EQ(Initialize(), 0u);
  ASSERT_EQ(Shutdown(), 0u);
  framework_.ForgetTraces();
  KtWchar* text = nullptr;
  EXPECT_EQ(Initialize(), kShuttingDown);
  EXPECT_EQ(module_->Control({}, kSystemInterface, kTraceLevelControl, nullptr, nullptr),
            kShuttingDown);
  EXPECT_EQ(module_->table().GetAttr(0, 0, 0, 0), kShuttingDown);
  EXPECT_EQ(module_->Notify(kReadyEvent, framework_.database()), kShuttingDown);
  EXPECT_EQ(module_->table().Version(&text), kShuttingDown);
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_EQ(Shutdown(), kShuttingDown);
  EXPECT_THAT(framework_.Traces(),
              testing::ElementsAre(fake::Error("hostkit::__KtApiShutdown(), started.")));
}

TEST_F(Running, AnswersAttributesWithZero) {
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_EQ(module_->table().GetAttr(1, 2, 3, 4), 0u);
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Running, GivesItsVersionInAFrameworkBlock) {
  ASSERT_EQ(Initialize(), 0u);
  KtWchar* text = nullptr;
  ASSERT_EQ(module_->table().Version(&text), 0u);
  EXPECT_EQ(std::basic_string<KtWchar>(text), KT_W("WINNT.6.1.0.445"));
  _KtFree(text);
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Running, RefusesNullPointersWithoutALine) {
  ASSERT_EQ(Initialize(), 0u);
  framework_.ForgetTraces();
  std::uint64_t out = 0;
  const KtObjId id{};
  EXPECT_EQ(module_->table().Control(nullptr, 0, 0, nullptr, nullptr, 0, 0, 0, 0, 0, 0, &out),
            kInvalidArgument);
  EXPECT_EQ(module_->table().Control(&id, 0, 0, nullptr, nullptr, 0, 0, 0, 0, 0, 0, nullptr),
            kInvalidArgument);
  EXPECT_EQ(module_->table().ChangeNotify(0, 0, 0, 0), kInvalidArgument);
  EXPECT_EQ(module_->table().Version(nullptr), kInvalidArgument);
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Running, AnUnknownControlNamesItsPath) {
  ASSERT_EQ(Initialize(), 0u);
  framework_.ForgetTraces();
  EXPECT_EQ(module_->Control(fake::ObjectNumber(7), kSystemInterface, 4711,
                             framework_.MakePropset(), framework_.MakePropset()),
            kUnexpected);
  EXPECT_TRUE(fake::Traced(
      6,
      "hostkit: ERROR: CKtControlManager::Invoke(), Control path not found "
      "(OBJ:{00000007-0001-0000-0000-000000000000},INTF:{9452C1D7-9A89-4CDF-B3DF-1EE1D7D002D9},"
      "MJ:0,MN:4711)"));
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Running, ANoticeThatNobodyListensToIsAnsweredSo) {
  ASSERT_EQ(Initialize(), 0u);
  framework_.ForgetTraces();
  EXPECT_EQ(module_->Notify("event.nobody", framework_.database()), 0xC100000Du);
  EXPECT_TRUE(fake::Traced(6,
                           "ERROR: CKtEventManager::Notify(event.nobody) failed with error "
                           "KTERROR_NO_EVENT, no listener for event."));
  EXPECT_EQ(Shutdown(), 0u);
}

}  // namespace
