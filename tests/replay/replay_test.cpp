// Recording a life, and replaying it to the same module and to others.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "module_error.h"
#include "replay/call_text.h"
#include "replay/recorder.h"
#include "replay/recordings.h"
#include "replay/replayer.h"
#include "service/scratch_folder.h"
#include "status_text.h"

namespace replay_test {
namespace {

using ktreplay::Item;
using ktreplay::ItemKind;
using ktreplay::ReplayResult;
using testing::HasSubstr;
using testing::StartsWith;

class ReplayTest : public testing::Test {
 protected:
  void SetUp() override { RecordLife(File()); }

  [[nodiscard]] std::filesystem::path File() const { return folder_.path() / "life.ktrec"; }

  [[nodiscard]] ReplayResult Replay(const std::string& variant) const {
    return ktreplay::Replay(File(), Variant(variant), {});
  }

  // The replay of the same module after a change of the recording.
  template <typename Change>
  [[nodiscard]] ReplayResult ReplayChanged(Change change, bool end = true) const {
    std::vector<Item> items = ItemsOf(File());
    change(items);
    WriteItems(File(), items, end);
    return Replay("same");
  }

 private:
  ktsvc_test::ScratchFolder folder_;
};

// ---- What is recorded ------------------------------------------------------------------------

TEST_F(ReplayTest, TheRecordingHoldsBothDirections) {
  std::vector<std::string> functions;
  for (const Item& item : ItemsOf(File())) {
    if (item.kind == ItemKind::kEnter) {
      functions.push_back(item.function);
    }
    EXPECT_EQ(item.provider, "replayed");
  }
  EXPECT_EQ(functions,
            (std::vector<std::string>{"Initialize", "Version", "Control", "Control", "Control",
                                      "ChangeNotify", "ChangeNotify", "Shutdown"}));
}

TEST_F(ReplayTest, TheRecordingHoldsAControlWithItsInputAndItsOutput) {
  std::vector<Item> items = ItemsOf(File());
  const Item enter = FindItem(items, ItemKind::kEnter, "Control");
  EXPECT_THAT(CallText(enter), HasSubstr("}, 3, 10, set "));
  EXPECT_THAT(CallText(enter), HasSubstr(" {n:UINT32=32}, set "));
  const Item leave = FindItem(items, ItemKind::kLeave, "Control");
  EXPECT_THAT(CallText(leave), HasSubstr("{sum:UINT32=42}"));
  EXPECT_THAT(CallText(leave), HasSubstr("-> 1) = 0x00000000"));
  EXPECT_EQ(FindItem(items, ItemKind::kLeave, "Control", 2).outcome, KTBUS_CALL_THREW);
}

TEST_F(ReplayTest, TheRecordingHoldsRecordsTextsAndIdsByValue) {
  std::vector<Item> items = ItemsOf(File());
  EXPECT_THAT(CallText(FindItem(items, ItemKind::kCall, "ObSetProperty")),
              HasSubstr("{size:UINT32=5}) = 0x00000000"));
  EXPECT_THAT(CallText(FindItem(items, ItemKind::kCall, "ObGetObjectType")),
              HasSubstr("-> \"qelm_ktvm\")"));
  EXPECT_THAT(CallText(FindItem(items, ItemKind::kCall, "KtTrace", 1)),
              HasSubstr("\"replayed is up\""));
  EXPECT_THAT(CallText(FindItem(items, ItemKind::kEnter, "ChangeNotify")),
              HasSubstr("event \"site.opens\" {who:STR=\"alice\"}"));
  EXPECT_THAT(CallText(FindItem(items, ItemKind::kLeave, "Version")), HasSubstr("\"REPLAYED.1\""));
  const auto made = FindItem(items, ItemKind::kCall, "ObCreateObject").arguments.at(3).ids;
  const auto listed = FindItem(items, ItemKind::kCall, "DbGetObjects").arguments.at(2).ids;
  ASSERT_EQ(made.size(), 1U);
  ASSERT_EQ(listed.size(), 1U);
  EXPECT_TRUE(ktsvc::SameGuid(made[0], listed[0]));
}

TEST_F(ReplayTest, TheRecordingKeepsThreadsApart) {
  std::vector<Item> items = ItemsOf(File());
  const auto thread = [&](ItemKind kind, const char* function) {
    return FindItem(items, kind, function).thread;
  };
  const auto main = thread(ItemKind::kEnter, "Initialize");
  EXPECT_NE(thread(ItemKind::kCall, "EvRaiseEvent"), main);
  EXPECT_NE(thread(ItemKind::kEnter, "ChangeNotify"), main);
  EXPECT_NE(thread(ItemKind::kEnter, "ChangeNotify"), thread(ItemKind::kCall, "EvRaiseEvent"));
}

TEST_F(ReplayTest, OneRecorderAfterTheOtherMayRecord) {
  RecordLife(File());
  EXPECT_FALSE(Replay("same").difference.has_value());
}

// ---- Replaying -------------------------------------------------------------------------------

TEST_F(ReplayTest, TheSameModuleHasNoDifference) {
  const ReplayResult result = Replay("same");
  EXPECT_FALSE(result.difference.has_value()) << ReplayText(result);
  EXPECT_EQ(result.functions, 8U);
  EXPECT_GT(result.calls, 20U);
  EXPECT_FALSE(result.stuck);
  EXPECT_THAT(ReplayText(result), StartsWith("replayed: no difference; 8 functions called"));
}

TEST_F(ReplayTest, MayBeRepeated) {
  for (int i = 0; i < 5; ++i) {
    EXPECT_FALSE(Replay("same").difference.has_value());
  }
}

TEST_F(ReplayTest, TellsAModuleThatAnswersAnotherStatus) {
  const ReplayResult result = Replay("status");
  ASSERT_TRUE(result.difference.has_value());
  std::vector<Item> items = ItemsOf(File());
  EXPECT_EQ(result.difference->item, FindItem(items, ItemKind::kLeave, "Control").number);
  EXPECT_THAT(result.difference->expected, HasSubstr("= 0x00000000"));
  EXPECT_THAT(result.difference->came, HasSubstr("= 0xC1000002"));
  EXPECT_THAT(result.difference->inside, StartsWith("Control("));
  EXPECT_THAT(ReplayText(result), HasSubstr("the first difference is at item"));
}

TEST_F(ReplayTest, TellsAModuleThatAnswersOtherProperties) {
  const ReplayResult result = Replay("output");
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->expected, HasSubstr("{sum:UINT32=42}"));
  EXPECT_THAT(result.difference->came, HasSubstr("{sum:UINT32=43}"));
}

TEST_F(ReplayTest, TellsAModuleThatCallsWithAnotherArgument) {
  const ReplayResult result = Replay("value");
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->expected, HasSubstr("{size:UINT32=5}"));
  EXPECT_THAT(result.difference->came, HasSubstr("{size:UINT32=6}"));
  EXPECT_THAT(result.difference->inside, StartsWith("Initialize("));
}

TEST_F(ReplayTest, TellsAModuleThatLeavesACallOut) {
  const ReplayResult result = Replay("silent");
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->expected, HasSubstr("replayed is up"));
  EXPECT_THAT(result.difference->came, StartsWith("EvRegisterEvent("));
}

TEST_F(ReplayTest, TellsAModuleThatMakesACallMore) {
  const ReplayResult result = Replay("talking");
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->expected, StartsWith("EvRegisterEvent("));
  EXPECT_THAT(result.difference->came, HasSubstr("and says more"));
}

TEST_F(ReplayTest, TellsAThreadThatDoesNotCome) {
  const ReplayResult result = Replay("idle");
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->expected, StartsWith("PsCreatePropset("));
  EXPECT_THAT(result.difference->came, HasSubstr("has not started this thread"));
}

TEST_F(ReplayTest, TellsAModuleThatDoesNotComeBack) {
  ktreplay::ReplayOptions options;
  options.patience = std::chrono::milliseconds(2500);
  const ReplayResult result = ktreplay::Replay(File(), Variant("stuck"), options);
  EXPECT_TRUE(result.stuck);
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->expected, StartsWith("EvUnregisterEvent("));
  EXPECT_THAT(ReplayText(result), HasSubstr("has not come back"));
}

TEST_F(ReplayTest, TellsAChangedStatusInTheRecording) {
  const ReplayResult result = ReplayChanged([](std::vector<Item>& items) {
    FindItem(items, ItemKind::kLeave, "Control").result.number = 0xC1000002;
  });
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->expected, HasSubstr("= 0xC1000002"));
  EXPECT_THAT(result.difference->came, HasSubstr("= 0x00000000"));
}

TEST_F(ReplayTest, AnswersWithTheRecordedStatus) {
  const ReplayResult result = ReplayChanged([](std::vector<Item>& items) {
    FindItem(items, ItemKind::kCall, "ObCreateObject").result.number = 0xC1000039;
  });
  // The module gives up where its recorded life went on.
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->came, HasSubstr("Initialize("));
  EXPECT_THAT(result.difference->came, HasSubstr("= 0xC1000039"));
}

TEST_F(ReplayTest, FailsWhatFailedInTheRecordingThoughTheFrameworkWouldNot) {
  const ReplayResult result = ReplayChanged([](std::vector<Item>& items) {
    FindItem(items, ItemKind::kCall, "PsFindProperty").result.number = 0x8007000E;
  });
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->came, HasSubstr("= 0x80070057"));
}

TEST_F(ReplayTest, TakesMemoryAndLocksInAnyNumber) {
  const ReplayResult result = ReplayChanged([](std::vector<Item>& items) {
    std::erase_if(items, [](const Item& item) {
      return item.function == "_KtFree" || item.function == "KtEnterCriticalSection";
    });
  });
  EXPECT_FALSE(result.difference.has_value()) << ReplayText(result);
}

TEST_F(ReplayTest, FailsTheAllocationThatFailedThen) {
  const ReplayResult result = ReplayChanged([](std::vector<Item>& items) {
    Item& item = FindItem(items, ItemKind::kCall, "_KtAlloc");
    item.result.number = 0;
  });
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->came, StartsWith("Version("));
  EXPECT_THAT(result.difference->came, HasSubstr("= 0x8007000E"));
}

TEST_F(ReplayTest, SaysHowOftenTheRecordedOrderWasGivenUp) {
  // The worker does one thing less than in the recording, and the others wait for it in vain.
  const ReplayResult result = ReplayChanged([](std::vector<Item>& items) {
    const Item more = FindItem(items, ItemKind::kCall, "EvRaiseEvent");
    const auto last = std::find_if(items.rbegin(), items.rend(),
                                   [&](const Item& item) { return item.thread == more.thread; });
    items.insert(last.base(), more);
  });
  EXPECT_FALSE(result.difference.has_value()) << ReplayText(result);
  EXPECT_EQ(result.given_up, 1U);
  EXPECT_THAT(ReplayText(result), HasSubstr("the recorded order was given up 1 time: "));
}

TEST_F(ReplayTest, ReplaysARecordingThatIsCutOffAsFarAsItGoes) {
  const ReplayResult result = ReplayChanged(
      [](std::vector<Item>& items) {
        const auto number = FindItem(items, ItemKind::kLeave, "Control").number;
        items.resize(static_cast<std::size_t>(number) - 1);
      },
      false);
  EXPECT_FALSE(result.difference.has_value()) << ReplayText(result);
  EXPECT_THAT(ReplayText(result), HasSubstr("the recording is not whole"));
  EXPECT_EQ(result.functions, 2U);
}

// ---- What cannot be replayed -----------------------------------------------------------------

TEST_F(ReplayTest, ARecordingWithoutTheProviderIsRefusedWithWhatItHas) {
  ktreplay::ReplayOptions options;
  options.provider = "another";
  try {
    ktreplay::Replay(File(), Variant("same"), options);
    FAIL();
  } catch (const ktreplay::ReplayError& error) {
    EXPECT_STREQ(error.what(), "it has nothing of a provider \"another\"; it has replayed");
  }
}

TEST_F(ReplayTest, AModuleThatIsNotThereIsRefused) {
  EXPECT_THROW(ktreplay::Replay(File(), File().parent_path() / "replayed.so", {}),
               ktsvc::ModuleError);
}

TEST_F(ReplayTest, ARecordingWhoseFunctionsStandInEachOtherIsRefused) {
  EXPECT_THROW(static_cast<void>(ReplayChanged([](std::vector<Item>& items) {
                 std::erase_if(items, [](const Item& item) {
                   return item.kind == ItemKind::kLeave && item.function == "Initialize";
                 });
               })),
               ktreplay::ReplayError);
}

TEST_F(ReplayTest, AFunctionThatNoProviderHasIsADifference) {
  const ReplayResult result = ReplayChanged([](std::vector<Item>& items) {
    for (Item& item : items) {
      if (item.function == "Version") {
        item.function = "Invented";
      }
    }
  });
  ASSERT_TRUE(result.difference.has_value());
  EXPECT_THAT(result.difference->came, HasSubstr("which no provider has"));
}

TEST_F(ReplayTest, AnyOneChangedItemNeitherCrashesNorHangs) {
  // Words, kinds and results changed one at a time; whatever comes of it, the replay comes back.
  const std::vector<Item> whole = ItemsOf(File());
  std::size_t differences = 0;
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::vector<Item> items = whole;
    Item& item = items[at];
    if (item.arguments.empty()) {
      item.result.number ^= 1U;
    } else {
      auto& value = item.arguments[at % item.arguments.size()];
      value.number ^= 1U;
      value.ids.clear();
      value.properties.reset();
    }
    WriteItems(File(), items);
    differences += Replay("same").difference.has_value() ? 1U : 0U;
  }
  EXPECT_GT(differences, whole.size() / 4);
}

}  // namespace
}  // namespace replay_test
