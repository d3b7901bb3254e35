// Modules that are broken on purpose: the fault in each is named, and nothing else.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ktcheck/ktcheck_program.h"

namespace ktcheck_test {
namespace {

using Json = nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

#if defined(LOCKS_ARE_THE_SANITIZERS)
const auto kKindsOfLockOrder = ElementsAre("lock-order", "sanitizer");
#else
const auto kKindsOfLockOrder = ElementsAre("lock-order");
#endif

// Whether a call stack of the finding leads into the module.
bool LeadsInto(const Json& finding, const std::string& module) {
  for (const Json& stack : finding.value("stacks", Json::array())) {
    for (const Json& frame : stack.at("frames")) {
      if (frame.get<std::string>().starts_with(module + ".")) return true;
    }
  }
  return false;
}

TEST(BrokenModule, ThatLeaksAPropertySetIsToldWhichCallMadeIt) {
  const Json verdict = VerdictOn(BrokenModule("leaking"), {"walk"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("leak"));
  const Json leak = FirstOf(verdict, "leak");
  EXPECT_EQ(leak.at("what"), "a property set made by PsCreatePropset is never given back");
  EXPECT_TRUE(LeadsInto(leak, "leaking")) << leak;
}

TEST(BrokenModule, ThatAnswersItsControlLikeAStrangerIsSeenThroughWhenTheCodeIsNamed) {
  const auto walked = [](const std::string& codes) {
    return KindsIn(VerdictOn(BrokenModule("reserved"), {"walk"}, {"--codes", codes}));
  };
  EXPECT_THAT(walked("20000-20002"), ElementsAre());
  EXPECT_THAT(walked("20000,20001"), ElementsAre("leak"));
}

TEST(BrokenModule, ThatFreesWithTheWrongFunctionIsToldWhichCallItWas) {
  const Json verdict = VerdictOn(BrokenModule("mismatched"), {"life"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("leak", "wrong-free"));
  const Json wrong = FirstOf(verdict, "wrong-free");
  EXPECT_EQ(wrong.at("what"), "PsFreeProperty was given something that it does not release");
  EXPECT_TRUE(LeadsInto(wrong, "mismatched")) << wrong;
  EXPECT_EQ(FirstOf(verdict, "leak").at("what"),
            "a text made by KtGUIDToString is never given back");
}

TEST(BrokenModule, ThatThrowsOutOfAnEntryPointIsToldWithWhat) {
  const Json verdict = VerdictOn(BrokenModule("throwing"), {"walk"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("threw"));
  const Json threw = FirstOf(verdict, "threw");
  EXPECT_EQ(threw.at("what"), "Control let an exception out");
  EXPECT_THAT(threw.at("when").get<std::string>(),
              HasSubstr("control 20001, selector 0, interface "
                        "{6B1C4A52-0E3D-4F7B-9A11-5D2E77C03894}, on an object of type "
                        "broken_thing, with Place:UINT32"));
}

TEST(BrokenModule, ThatKeepsTheDatabaseLockIsToldWhereItWasTaken) {
  const Json verdict = VerdictOn(BrokenModule("clinging"), {"life", "failures"});
  EXPECT_EQ(KindsIn(verdict).count("lock-kept"), 1U) << verdict;
  const Json kept = FirstOf(verdict, "lock-kept");
  EXPECT_EQ(kept.at("what"), "Initialize came back with the database lock held");
  EXPECT_THAT(kept.at("when").get<std::string>(), HasSubstr("fails with 0x8007000E"));
  EXPECT_TRUE(LeadsInto(kept, "clinging")) << kept;
}

TEST(BrokenModule, ThatNeverStopsItsThreadIsToldWhereTheThreadStands) {
  const Json verdict = VerdictOn(BrokenModule("restless"), {"life"}, {"--patience", "30"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("thread-left"));
  EXPECT_TRUE(LeadsInto(FirstOf(verdict, "thread-left"), "restless")) << verdict;
}

TEST(BrokenModule, ThatCallsAfterShutdownIsToldWhatAndFromWhere) {
  const Json verdict = VerdictOn(BrokenModule("belated"), {"life"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("late-call", "leak", "subscription-kept"));
  const Json late = FirstOf(verdict, "late-call");
  EXPECT_EQ(late.at("what"), "EvUnregisterEvent is called after Shutdown");
  EXPECT_TRUE(LeadsInto(late, "belated")) << late;
  EXPECT_EQ(FirstOf(verdict, "subscription-kept").at("what"),
            "the subscription to \"event.disk.*\" is still there after Shutdown");
  EXPECT_EQ(FirstOf(verdict, "leak").at("what"),
            "a registration made by EvRegisterEvent is never given back");
}

TEST(BrokenModule, ThatNeedsInitializeForItsVersionIsToldThatItWasAskedBefore) {
  const Json verdict = VerdictOn(BrokenModule("premature"), {"early", "life"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("crash"));
  EXPECT_EQ(FirstOf(verdict, "crash").at("when"), "Version before Initialize");
}

TEST(BrokenModule, ThatExpectsOneClientAtATimeIsToldThatThereAreMore) {
  const Json verdict =
      VerdictOn(BrokenModule("unguarded"), {"life", "threads"}, {"--codes", "20000-20002"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("crash"));
  EXPECT_THAT(FirstOf(verdict, "crash").at("when").get<std::string>(), HasSubstr("4 clients"));
}

TEST(BrokenModule, ThatUsesAfterShutdownWhatItDeletedThereIsToldWhichControlCameLate) {
  const Json verdict = VerdictOn(BrokenModule("posthumous"), {"life", "late"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("crash"));
  EXPECT_THAT(FirstOf(verdict, "crash").at("when").get<std::string>(),
              HasSubstr("after Shutdown: control 20001, selector 0, "));
}

TEST(BrokenModule, ThatDeadlocksInACallBackIsToldWithTheStacksOfBothSides) {
  const Json verdict = VerdictOn(BrokenModule("deadlocked"), {"life"}, {"--patience", "10"});
  EXPECT_EQ(KindsIn(verdict).count("stuck"), 1U) << verdict;
  const Json stuck = FirstOf(verdict, "stuck");
  EXPECT_THAT(stuck.at("what").get<std::string>(), HasSubstr(" did not come back"));
  int stacks = 0;
  for (const Json& stack : stuck.at("stacks")) {
    stacks += LeadsInto(Json{{"stacks", {stack}}}, "deadlocked") ? 1 : 0;
  }
  EXPECT_EQ(stacks, 2) << stuck;
}

TEST(BrokenModule, ThatTakesLocksInTwoOrdersIsToldAllFourPlaces) {
  const Json verdict = VerdictOn(BrokenModule("disorderly"), {"walk"});
  EXPECT_THAT(KindsIn(verdict), kKindsOfLockOrder);
  const Json order = FirstOf(verdict, "lock-order");
  EXPECT_EQ(order.at("stacks").size(), 4U) << order;
  EXPECT_TRUE(LeadsInto(order, "disorderly")) << order;
}

TEST(BrokenModule, ThatCrashesWhenACallFailsIsToldWhereAndTheCheckGoesOn) {
  const Json verdict = VerdictOn(BrokenModule("crashing"), {"failures"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("crash"));
  const Json crash = FirstOf(verdict, "crash");
  EXPECT_TRUE(LeadsInto(crash, "crashing")) << crash;
  EXPECT_EQ(crash.at("times"), 3);  // once with each status
  const Json& figures = verdict.at("checks").at(0).at("figures");
  EXPECT_EQ(figures.at("callsFailed"), 3 * figures.at("callsInALife").get<int>()) << verdict;
  EXPECT_THAT(crash.at("when").get<std::string>(), HasSubstr("fails with 0x8007000E"));
}

TEST(BrokenModule, WhoseInitializeFailsInAnOrdinaryLifeIsToldWithItsAnswer) {
  const Json verdict = VerdictOn(BrokenModule("unwilling"), {"life"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("initialize"));
  EXPECT_THAT(FirstOf(verdict, "initialize").at("what").get<std::string>(),
              HasSubstr("Initialize answers 0x"));
}

TEST(BrokenModule, WhoseShutdownFailsInAnOrdinaryLifeIsToldWithItsAnswer) {
  const Json verdict = VerdictOn(BrokenModule("stubborn"), {"life"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("shutdown"));
  EXPECT_THAT(FirstOf(verdict, "shutdown").at("what").get<std::string>(),
              HasSubstr("Shutdown answers 0x"));
}

TEST(BrokenModule, ThatRefusesOtherNamesInAWayOfItsOwnIsToldWithWhat) {
  const Json verdict = VerdictOn(BrokenModule("grumbling"), {"names"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("wrong-refusal"));
  const std::string findings = verdict.at("checks").at(0).at("findings").dump();
  EXPECT_THAT(findings, HasSubstr("ProviderEntry answers 0xC1000001"));
  EXPECT_THAT(findings, HasSubstr("and fills in the table all the same"));
}

TEST(BrokenModule, ThatExportsItsInsidesIsToldInOneFindingWithReadableNames) {
  const Json verdict = VerdictOn(BrokenModule("outspoken"), {"exports"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("export-extra"));
  const Json extra = FirstOf(verdict, "export-extra");
  EXPECT_EQ(verdict.at("checks").at(0).at("findings").size(), 1U) << verdict;
  EXPECT_THAT(extra.at("what").get<std::string>(), HasSubstr(" more things are exported"));
  EXPECT_THAT(extra.at("stacks").dump(), HasSubstr("broken::Half(int)"));
  EXPECT_THAT(extra.at("stacks").dump(), HasSubstr("broken::Twice(int)"));
}

#if defined(OVERRUNS_END_THE_PROGRAM)

// The sanitizer has a word of its own at the end of the process.
TEST(BrokenModule, ThatKeepsMemoryOfItsOwnIsToldByTheSanitizerToo) {
  const Json verdict = VerdictOn(BrokenModule("hoarding"), {"lives"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("memory-grows", "sanitizer"));
  EXPECT_EQ(FirstOf(verdict, "sanitizer").at("what"), "LeakSanitizer: detected memory leaks");
}

TEST(BrokenModule, ThatLosesMemoryOfItsOwnWithAControlIsToldByTheSanitizerToo) {
  const Json verdict = VerdictOn(BrokenModule("forgetful"), {"lives"}, {"--codes", "20000-20002"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("memory-grows", "sanitizer"));
}

// There are no guarding bytes then.
TEST(BrokenModule, ThatWritesPastARecordIsToldByTheSanitizer) {
  const Json verdict = VerdictOn(BrokenModule("overrunning"), {"life"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("sanitizer"));
  const Json found = FirstOf(verdict, "sanitizer");
  EXPECT_EQ(found.at("what"), "AddressSanitizer: heap-buffer-overflow");
  EXPECT_THAT(found.at("stacks").dump(), HasSubstr("overrunning")) << found;
}

#else

TEST(BrokenModule, ThatKeepsMemoryOfItsOwnIsToldHowMuch) {
  const Json verdict = VerdictOn(BrokenModule("hoarding"), {"lives"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("memory-grows"));
  EXPECT_GE(verdict.at("checks").at(0).at("figures").at("bytesKept"), 300) << verdict;
}

TEST(BrokenModule, ThatLosesMemoryOfItsOwnWithAControlIsToldHowMuch) {
  const Json verdict = VerdictOn(BrokenModule("forgetful"), {"lives"}, {"--codes", "20000-20002"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("memory-grows"));
  EXPECT_GE(verdict.at("checks").at(0).at("figures").at("bytesKept"), 250) << verdict;
}

TEST(BrokenModule, ThatWritesPastARecordIsToldWhenTheRecordIsReleased) {
  const Json verdict = VerdictOn(BrokenModule("overrunning"), {"life"});
  EXPECT_THAT(KindsIn(verdict), ElementsAre("overrun"));
  const Json overrun = FirstOf(verdict, "overrun");
  EXPECT_EQ(overrun.at("what"),
            "PsFreeProperty released memory of the framework that had been written past its end");
  EXPECT_TRUE(LeadsInto(overrun, "overrunning")) << overrun;
}

#endif

TEST(BrokenModule, OfAnyKindHasItsFileInOrder) {
  for (const char* const name :
       {"belated",  "careless", "clinging", "crashing",   "deadlocked",  "disorderly", "forgetful",
        "hasty",    "hoarding", "leaking",  "mismatched", "overrunning", "posthumous", "premature",
        "reserved", "restless", "stubborn", "throwing",   "unguarded",   "unwilling"}) {
    EXPECT_THAT(KindsIn(VerdictOn(BrokenModule(name), {"exports", "names"})), ElementsAre())
        << name;
  }
}

}  // namespace
}  // namespace ktcheck_test
