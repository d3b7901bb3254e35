// The tests' own framework, tested: what the other suites lean on.
#include <cstring>
#include <thread>
#include <vector>

#include "fake/fake_test.h"

namespace {

using fake::FrameworkTest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using FakePropsets = FrameworkTest;
using FakeLedger = FrameworkTest;
using FakeFailures = FrameworkTest;
using FakeTrace = FrameworkTest;
using FakeObjects = FrameworkTest;
using FakeEvents = FrameworkTest;
using FakeSections = FrameworkTest;
using FakeText = FrameworkTest;

cuvo_property UInt32(const char* name, std::uint32_t& value) {
  return {name, TYPE_UINT32, 0, sizeof value, 0, &value};
}

TEST_F(FakePropsets, AddRefusesANameThatIsThereAndSetOneThatIsNot) {
  KtPropset set = nullptr;
  ASSERT_EQ(PsCreatePropset(&set), 0u);
  std::uint32_t seven = 7;
  std::uint32_t eight = 8;
  const cuvo_property property = UInt32("a", seven);
  const cuvo_property other = UInt32("a", eight);
  EXPECT_EQ(PsSetProperty(set, &property), 0xC1000011u);
  EXPECT_EQ(PsAddProperty(set, &property), 0u);
  EXPECT_EQ(PsAddProperty(set, &property), 0xC1000013u);
  EXPECT_EQ(PsSetProperty(set, &property), 0x41000012u);
  EXPECT_EQ(PsSetProperty(set, &other), 0u);
  EXPECT_EQ(framework_.PropertiesOf(set).at(0).text, "8");
  EXPECT_EQ(PsDestroyPropset(set), 0u);
}

TEST_F(FakePropsets, EnumeratesInTheOrderOfAddingUntilNoMore) {
  KtPropset set = framework_.MakePropset();
  framework_.PutUInt32(set, "z", 1);
  framework_.PutText(set, "a", "text");
  KtIterator iterator = nullptr;
  ASSERT_EQ(PsOpenPropset(set, &iterator), 0u);
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindNextProperty(set, iterator, &found), 0u);
  EXPECT_STREQ(found->name, "z");
  EXPECT_EQ(PsFreeProperty(found), 0u);
  ASSERT_EQ(PsFindNextProperty(set, iterator, &found), 0u);
  EXPECT_STREQ(static_cast<const char*>(found->value), "text");
  EXPECT_EQ(found->length, 5u);
  EXPECT_EQ(PsFreeProperty(found), 0u);
  EXPECT_EQ(PsFindNextProperty(set, iterator, &found), 0xC1000014u);
  EXPECT_EQ(KtCloseHandle(iterator), 0u);
}

TEST_F(FakePropsets, ARecordOfANestedSetCarriesAFreshCopyThatGoesWithPsFreeProperty) {
  KtPropset inner = framework_.MakePropset();
  framework_.PutUInt32(inner, "n", 1);
  KtPropset outer = framework_.MakePropset();
  const cuvo_property property{"inner", TYPE_PROPSET, 0, 16, 0, inner};
  ASSERT_EQ(PsAddProperty(outer, &property), 0u);
  framework_.PutUInt32(inner, "n", 2);

  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(outer, "inner", &found), 0u);
  EXPECT_EQ(found->length, 16u);
  auto* const copy = static_cast<KtPropset>(found->value);
  EXPECT_NE(copy, inner);
  EXPECT_EQ(framework_.PropertiesOf(copy).at(0).text, "1");
  EXPECT_EQ(framework_.Outstanding().propsets, 1u);
  EXPECT_EQ(PsFreeProperty(found), 0u);
  EXPECT_FALSE(framework_.HasPropset(copy));
}

TEST_F(FakePropsets, ARecordFreedAsMemoryLeavesItsSetsToTheCaller) {
  KtPropset inner = framework_.MakePropset();
  KtPropset handles[] = {inner, inner};
  KtPropset outer = framework_.MakePropset();
  framework_.Put(outer, cuvo_property{"list", TYPE_PROPSETZ, 0, 2, 0, static_cast<void*>(handles)});
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(outer, "list", &found), 0u);
  KtPropset copies[2];
  std::memcpy(static_cast<void*>(copies), found->value, sizeof copies);
  _KtFree(found);
  EXPECT_EQ(framework_.Outstanding().propsets, 2u);
  EXPECT_EQ(PsDestroyPropset(copies[0]), 0u);
  EXPECT_EQ(PsDestroyPropset(copies[1]), 0u);
}

TEST_F(FakePropsets, KeepsListsOfTextsAndMessagesWithTheirTexts) {
  KtPropset set = framework_.MakePropset();
  const char* texts[] = {"one", "two"};
  framework_.Put(set, cuvo_property{"texts", TYPE_STRZ, 0, 2, 0, static_cast<void*>(texts)});
  KtI18NDef messages[] = {{{}, 3, 0, "disk %1"}, {{}, 4, 0, "gone"}};
  framework_.Put(set, cuvo_property{"messages", TYPE_I18NZ, 0, 2, 0, messages});
  texts[0] = "changed";

  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set, "texts", &found), 0u);
  EXPECT_STREQ(static_cast<const char**>(found->value)[0], "one");
  EXPECT_STREQ(static_cast<const char**>(found->value)[1], "two");
  EXPECT_EQ(PsFreeProperty(found), 0u);
  ASSERT_EQ(PsFindProperty(set, "messages", &found), 0u);
  EXPECT_STREQ(static_cast<KtI18NDef*>(found->value)[0].name, "disk %1");
  EXPECT_EQ(static_cast<KtI18NDef*>(found->value)[1].messageId, 4u);
  EXPECT_EQ(PsFreeProperty(found), 0u);
}

TEST_F(FakePropsets, TheInsertionsOfAFormatStringAreACopyToo) {
  KtPropset insertions = nullptr;
  ASSERT_EQ(PsCreatePropset(&insertions), 0u);
  ASSERT_EQ(I18nAddInsertionString(insertions, 1, "first"), 0u);
  ASSERT_EQ(I18nAddInsertionWideString(insertions, 1, KT_W("again")), 0u);
  KtI18NFormatString format{{{}, 9, 0, "%1"}, insertions};
  KtPropset set = framework_.MakePropset();
  framework_.Put(set, cuvo_property{"f", TYPE_I18NFORMATSTRING, 0, 40, 0, &format});
  EXPECT_EQ(PsDestroyPropset(insertions), 0u);

  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set, "f", &found), 0u);
  const auto* copy = static_cast<KtI18NFormatString*>(found->value);
  EXPECT_STREQ(copy->message.name, "%1");
  EXPECT_THAT(framework_.PropertiesOf(copy->insertions),
              ElementsAre(fake::Property{"p1", TYPE_WSTR, 0, 12, "again"}));
  EXPECT_EQ(PsFreeProperty(found), 0u);
}

TEST_F(FakePropsets, ADeadOrForeignHandleIsAStatusAndNeverACrash) {
  KtPropset set = nullptr;
  ASSERT_EQ(PsCreatePropset(&set), 0u);
  ASSERT_EQ(PsDestroyPropset(set), 0u);
  cuvo_property* found = nullptr;
  EXPECT_EQ(PsFindProperty(set, "a", &found), 0xC1000010u);
  EXPECT_EQ(PsFindProperty(nullptr, "a", &found), 0xC1000010u);
  EXPECT_EQ(PsDestroyPropset(nullptr), 0xC1000010u);
}

TEST_F(FakeLedger, CountsWhatIsHandedOutByKind) {
  KtPropset set = nullptr;
  ASSERT_EQ(PsCreatePropset(&set), 0u);
  framework_.PutUInt32(set, "a", 1);
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set, "a", &found), 0u);
  KtIterator iterator = nullptr;
  ASSERT_EQ(PsOpenPropset(set, &iterator), 0u);
  void* block = _KtAlloc(3);
  KtCookie cookie = 0;
  ASSERT_EQ(EvRegisterEvent(framework_.database(), framework_.provider(), "e", &cookie), 0u);
  ASSERT_EQ(DbLockDatabase(framework_.provider()), 0u);
  KtCriticalSection section;
  KtInitializeCriticalSection(&section);
  KtEnterCriticalSection(&section);

  const fake::Ledger expected{1, 1, 1, 1, 1, 1, 1, 1, 0};
  EXPECT_EQ(framework_.Outstanding(), expected) << framework_.Outstanding();

  KtLeaveCriticalSection(&section);
  KtDeleteCriticalSection(&section);
  EXPECT_EQ(DbUnlockDatabase(framework_.provider()), 0u);
  EXPECT_EQ(EvUnregisterEvent(framework_.database(), cookie), 0u);
  _KtFree(block);
  EXPECT_EQ(KtCloseHandle(iterator), 0u);
  EXPECT_EQ(PsFreeProperty(found), 0u);
  EXPECT_EQ(PsDestroyPropset(set), 0u);
}

TEST_F(FakeLedger, CountsFreesThroughTheWrongFunctionTwiceOrOfForeignThingsAndSurvivesThem) {
  KtPropset set = framework_.MakePropset();
  framework_.PutUInt32(set, "a", 1);
  KtIterator iterator = nullptr;
  ASSERT_EQ(PsOpenPropset(set, &iterator), 0u);
  const KtGuid guid{1, 2, 3, {}};
  char* text = KtGUIDToString(&guid);
  int local = 0;
  cuvo_property no_record{};

  EXPECT_EQ(PsFreeProperty(static_cast<cuvo_property*>(static_cast<void*>(text))), 0x80070057u);
  EXPECT_EQ(PsFreeProperty(&no_record), 0x80070057u);
  _KtFree(iterator);
  _KtFree(&local);
  EXPECT_EQ(PsDestroyPropset(set), 0u);
  EXPECT_EQ(PsDestroyPropset(set), 0xC1000010u);
  EXPECT_EQ(KtCloseHandle(iterator), 0u);
  EXPECT_EQ(KtCloseHandle(iterator), 0xC1000010u);
  _KtFree(text);
  _KtFree(nullptr);

  EXPECT_EQ(framework_.Outstanding().wrong_frees, 6u)
      << ::testing::PrintToString(framework_.WrongFrees());
  framework_.Reset();
}

TEST_F(FakeLedger, ForgetsWhatStoodOpenAtAResetAndTakesItBackLaterWithoutComplaint) {
  void* block = _KtAlloc(8);
  KtPropset set = nullptr;
  ASSERT_EQ(PsCreatePropset(&set), 0u);
  KtCriticalSection section;
  KtInitializeCriticalSection(&section);
  framework_.Reset();
  EXPECT_TRUE(framework_.Outstanding().Empty());
  _KtFree(block);
  EXPECT_EQ(PsDestroyPropset(set), 0xC1000010u);
  KtEnterCriticalSection(&section);
  KtLeaveCriticalSection(&section);
  KtDeleteCriticalSection(&section);
  EXPECT_TRUE(framework_.Outstanding().Empty()) << framework_.Outstanding();
}

TEST_F(FakeFailures, TheNthCallOfAFunctionFailsOnceWithoutAnEffect) {
  framework_.FailCall("PsCreatePropset", 2, 0xC1000001u);
  KtPropset first = nullptr;
  KtPropset second = nullptr;
  EXPECT_EQ(PsCreatePropset(&first), 0u);
  EXPECT_FALSE(framework_.FailureHappened());
  EXPECT_EQ(PsCreatePropset(&second), 0xC1000001u);
  EXPECT_EQ(second, nullptr);
  EXPECT_TRUE(framework_.FailureHappened());
  EXPECT_EQ(framework_.LastFailedFunction(), "PsCreatePropset");
  EXPECT_EQ(PsCreatePropset(&second), 0u);
  EXPECT_EQ(PsDestroyPropset(first), 0u);
  EXPECT_EQ(PsDestroyPropset(second), 0u);
}

TEST_F(FakeFailures, AllFailableCallsCountTogetherAndNullStandsForAStatus) {
  framework_.FailNthOfAll(3, 5);
  KtPropset set = nullptr;
  EXPECT_EQ(PsCreatePropset(&set), 0u);
  KtTrace(1, "no part of it");
  EXPECT_EQ(PsDestroyPropset(set), 0u);
  EXPECT_EQ(_KtAlloc(4), nullptr);
  EXPECT_EQ(framework_.FailableCalls(), 3u);
  framework_.ForgetCalls();
  EXPECT_EQ(framework_.FailableCalls(), 0u);
}

TEST_F(FakeFailures, TheCallThatFailedIsMarkedAmongTheCalls) {
  framework_.FailNthOfAll(2, 5);
  void* const block = _KtAlloc(4);
  EXPECT_EQ(_KtAlloc(5), nullptr);
  const std::vector<fake::Call> calls = framework_.Calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_FALSE(calls[0].failed);
  EXPECT_TRUE(calls[1].failed);
  _KtFree(block);
}

TEST_F(FakeFailures, AReleaseThatIsMadeToFailIsNotHeldAgainstTheCaller) {
  KtPropset set = nullptr;
  ASSERT_EQ(PsCreatePropset(&set), 0u);
  framework_.FailCall("PsDestroyPropset", 1, 5);
  EXPECT_EQ(PsDestroyPropset(set), 5u);
  EXPECT_TRUE(framework_.HasPropset(set));
  EXPECT_TRUE(framework_.Outstanding().Empty());

  ASSERT_EQ(DbLockDatabase(framework_.provider()), 0u);
  framework_.FailCall("DbUnlockDatabase", 1, 5);
  EXPECT_EQ(DbUnlockDatabase(framework_.provider()), 5u);
  EXPECT_TRUE(framework_.Outstanding().Empty());
}

TEST_F(FakeFailures, FindNextPropertyHandsItsRecordOutWithTheSuccessThatIsNotZero) {
  const KtPropset set = framework_.MakePropset();
  framework_.PutUInt32(set, "a", 1);
  KtIterator iterator = nullptr;
  ASSERT_EQ(PsOpenPropset(set, &iterator), 0u);
  cuvo_property* found = nullptr;
  framework_.FailCall("PsFindNextProperty", 1, 0x41000012u);
  EXPECT_EQ(PsFindNextProperty(set, iterator, &found), 0x41000012u);
  ASSERT_NE(found, nullptr);
  EXPECT_STREQ(found->name, "a");
  EXPECT_EQ(PsFreeProperty(found), 0u);
  EXPECT_EQ(KtCloseHandle(iterator), 0u);
}

TEST_F(FakeFailures, TheLoopFailsEachCallWithEachStatusAndThenStops) {
  std::vector<std::pair<std::string, KtStatus>> failed;
  const std::size_t happened = fake::FailEveryCallInTurn(
      {0xC1000001u, 5u}, [&](const std::function<void()>& arm, KtStatus status) {
        arm();
        KtPropset set = nullptr;
        if (PsCreatePropset(&set) == 0) PsDestroyPropset(set);
        if (framework_.FailureHappened()) {
          failed.emplace_back(framework_.LastFailedFunction(), status);
        }
      });
  EXPECT_EQ(happened, 4u);
  EXPECT_THAT(failed,
              ElementsAre(std::pair("PsCreatePropset", 0xC1000001u),
                          std::pair("PsDestroyPropset", 0xC1000001u),
                          std::pair("PsCreatePropset", 5u), std::pair("PsDestroyPropset", 5u)));
}

TEST_F(FakeTrace, FormatsAsTheMicrosoftRunTimeDoes) {
  KtTrace(1, "%s|%S|%ld|%I64d|%llu|%x|%X|%lx|%c|%%", "narrow", KT_W("w\u00e4"), -3,
          std::int64_t{-5000000000}, std::uint64_t{18446744073709551615u}, 0xabu, 0xCDu,
          0xFFFFFFFFu, 'q');
  KtTrace(4, "%5d|%-5d|%05d|%+d|%.3s|%*d|0x%08x|%#x", 42, 42, 42, 42, "abcdef", 4, 7, 0x103u, 255u);
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Info("narrow|w\xC3\xA4|-3|-5000000000|18446744073709551615|ab|CD|"
                                     "ffffffff|q|%"),
                          fake::Warning("   42|42   |00042|+42|abc|   7|0x00000103|0xff")));
}

TEST_F(FakeTrace, PrintsWhatIsNoConversionAsItStandsAndTakesNoArgumentForIt) {
  KtTrace(6, "ret=%l", 5);
  KtTrace(6, "%l, %d", 5);
  KtTrace(6, "%s %S", static_cast<const char*>(nullptr), static_cast<const KtWchar*>(nullptr));
  KtTrace(6, "100%");
  EXPECT_THAT(framework_.TracesAt(6), ElementsAre("ret=%l", "%l, 5", "(null) (null)", "100%"));
}

TEST_F(FakeTrace, RemembersEveryLevelWhateverTheTraceLevelIs) {
  EXPECT_EQ(KtSetTraceLevel(5), 0u);
  EXPECT_EQ(KtSetTraceLevel(3), 5u);
  KtTrace(1, "low");
  EXPECT_TRUE(fake::Traced(1, "low"));
  EXPECT_EQ(framework_.TraceLevel(), 3u);
}

TEST_F(FakeObjects, AreListedByTypeAndBySuperclassInTheOrderOfTheirCreation) {
  framework_.AddType("disk_of_ours", {"qelm_ktvm_disk"});
  framework_.SetNextObjectId(fake::ObjectNumber(900));
  const KtObjId first = framework_.AddObject("disk_of_ours");
  const KtObjId second = framework_.AddObject("qelm_ktvm_disk");
  framework_.AddObject("QELM_GenericGroup");
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  ASSERT_EQ(DbGetObjects(framework_.database(), "qelm_ktvm_disk", &list, &count), 0u);
  ASSERT_EQ(count, 2u);
  EXPECT_TRUE(ObCompareId(&list[0], &first));
  EXPECT_TRUE(ObCompareId(&list[1], &second));
  _KtFree(list);
  EXPECT_EQ(DbGetObjects(framework_.database(), "no such type", &list, &count), 0xC1000039u);
}

TEST_F(FakeObjects, TypesAreRefusedTwiceAndWithoutTheirSuperclass) {
  const char* const none[] = {"absent", nullptr};
  const char* const some[] = {"qelm_ktvm", nullptr};
  KtObjId id{};
  EXPECT_EQ(ObCreateTypeObject(framework_.database(), "t", none, nullptr, &id), 0xC1000037u);
  EXPECT_EQ(ObCreateTypeObject(framework_.database(), "t", some, nullptr, &id), 0u);
  EXPECT_EQ(ObCreateTypeObject(framework_.database(), "t", some, nullptr, &id), 0xC1000038u);
  EXPECT_THAT(framework_.SuperclassesOf("t"), ElementsAre("qelm_ktvm"));
}

TEST_F(FakeObjects, KeepTheirPropertiesInterfacesAndChildren) {
  KtObjId group{};
  ASSERT_EQ(
      ObCreateObject(framework_.database(), framework_.provider(), "QELM_GenericGroup", &group),
      0u);
  EXPECT_EQ(ObCreateObject(framework_.database(), framework_.provider(), "absent", &group),
            0xC1000039u);
  const KtObjId disk = framework_.AddObject("qelm_ktvm_disk");
  const KtGuid interface_id{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  EXPECT_EQ(
      ObRegisterInterface(framework_.database(), &group, framework_.provider(), &interface_id), 0u);
  EXPECT_EQ(
      ObRegisterInterface(framework_.database(), &group, framework_.provider(), &interface_id),
      0xC1000029u);
  EXPECT_EQ(framework_.InterfaceOwner(group, interface_id), framework_.provider());
  EXPECT_EQ(ObAttachChildObject(framework_.database(), &group, &disk), 0u);
  EXPECT_EQ(ObAttachChildObject(framework_.database(), &group, &disk), 0x80070057u);
  EXPECT_EQ(ObAttachChildObject(framework_.database(), &disk, &group), 0x80070057u);
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  ASSERT_EQ(ObGetChildObjects(framework_.database(), &group, &list, &count), 0u);
  ASSERT_EQ(count, 1u);
  EXPECT_TRUE(ObCompareId(list, &disk));
  _KtFree(list);
  std::uint32_t number = 5;
  const cuvo_property property = UInt32("n", number);
  EXPECT_EQ(ObSetProperty(framework_.database(), &disk, &property), 0u);
  EXPECT_THAT(framework_.PropertiesOf(disk),
              ElementsAre(fake::Property{"n", TYPE_UINT32, 0, 4, "5"}));
  EXPECT_EQ(ObDeleteObject(framework_.database(), &disk), 0u);
  EXPECT_EQ(ObDeleteObject(framework_.database(), &disk), 0xC1000010u);
  ASSERT_EQ(ObGetChildObjects(framework_.database(), &group, &list, &count), 0u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(list, nullptr);
}

TEST_F(FakeObjects, CallsAreRememberedInOrderWithTheirInputs) {
  const KtObjId disk = framework_.AddObject("qelm_ktvm_disk");
  std::uint32_t number = 5;
  const cuvo_property property = UInt32("n", number);
  ObSetProperty(framework_.database(), &disk, &property);
  KtTrace(1, "quiet");
  ObDeleteObject(framework_.database(), &disk);
  EXPECT_THAT(framework_.CallNames(), ElementsAre("ObSetProperty", "ObDeleteObject"));
  EXPECT_THAT(framework_.CallTexts(),
              ElementsAre("ObSetProperty(db#1, #1, {n UINT32 flags=0 length=4 5})",
                          "ObDeleteObject(db#1, #1)"));
  EXPECT_EQ(framework_.CountOf("KtTrace"), 1u);
}

TEST_F(FakeEvents, AStarStandsForOneWholePartOfAName) {
  KtDatabase database = framework_.database();
  const char* const pattern = "event.qelm.dom.initialization.*.complete";
  EXPECT_TRUE(EvMatch(database, "event.qelm.dom.initialization.ktvm.complete", pattern));
  EXPECT_FALSE(EvMatch(database, "event.qelm.dom.initialization.complete", pattern));
  EXPECT_FALSE(EvMatch(database, "event.qelm.dom.initialization.a.b.complete", pattern));
  EXPECT_FALSE(EvMatch(database, "event.qelm.dom.initialization..complete", pattern));
  EXPECT_FALSE(EvMatch(database, "a.bc", "a.b*"));
}

TEST_F(FakeEvents, SubscriptionsStandInOrderUntilTheyAreTakenBack) {
  KtCookie event = 0;
  KtCookie alert = 0;
  EXPECT_EQ(EvRegisterEvent(framework_.database(), framework_.provider(), "event.a", &event), 0u);
  EXPECT_EQ(ObRegisterAlert(framework_.database(), framework_.provider(), "event.alert", &alert),
            0u);
  EXPECT_THAT(framework_.Subscriptions(), ElementsAre("event.a"));
  EXPECT_THAT(framework_.AlertSubscriptions(), ElementsAre("event.alert"));
  EXPECT_EQ(EvUnregisterEvent(framework_.database(), event), 0u);
  EXPECT_EQ(ObUnregisterAlert(framework_.database(), alert), 0u);
  EXPECT_THAT(framework_.Subscriptions(), IsEmpty());
  EXPECT_EQ(EvUnregisterEvent(framework_.database(), event), 0xC1000010u);
  EXPECT_EQ(framework_.Outstanding().wrong_frees, 1u);
  framework_.Reset();
}

TEST_F(FakeEvents, AnAlertIsRaisedOnlyWhilePublished) {
  const KtAlertDefinition definition{"full", nullptr, 0, 0};
  KtDatabase database = framework_.database();
  KtProvider provider = framework_.provider();
  EXPECT_EQ(ObRaiseAlert(database, provider, "full", nullptr, nullptr), 0xC100002Eu);
  EXPECT_EQ(ObPublishAlert(database, provider, &definition), 0u);
  EXPECT_EQ(ObPublishAlert(database, provider, &definition), 0xC100002Du);
  EXPECT_EQ(ObRaiseAlert(database, provider, "full", nullptr, nullptr), 0u);
  EXPECT_EQ(framework_.RaisedAlerts().size(), 1u);
  EXPECT_EQ(ObUnpublishAlert(database, provider, "full"), 0u);
  EXPECT_THAT(framework_.PublishedAlerts(), IsEmpty());
}

TEST_F(FakeSections, AreReentrantAndKeepOtherThreadsOut) {
  KtCriticalSection section;
  KtInitializeCriticalSection(&section);
  int counter = 0;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        KtEnterCriticalSection(&section);
        KtEnterCriticalSection(&section);
        ++counter;
        KtLeaveCriticalSection(&section);
        KtLeaveCriticalSection(&section);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 800);
  KtDeleteCriticalSection(&section);
}

TEST_F(FakeSections, AreToldFromWhatWasNeverInitialisedOrIsNotHeld) {
  KtCriticalSection section{};
  KtEnterCriticalSection(&section);
  KtInitializeCriticalSection(&section);
  KtLeaveCriticalSection(&section);
  KtDeleteCriticalSection(&section);
  KtDeleteCriticalSection(&section);
  EXPECT_EQ(framework_.Outstanding().wrong_frees, 3u);
  framework_.Reset();
}

TEST_F(FakeText, SleepCountsAndCallsTheHookAndDoesNotSleep) {
  std::vector<std::uint32_t> slept;
  framework_.OnSleep([&](std::uint32_t milliseconds) {
    slept.push_back(milliseconds);
    KtTrace(1, "the hook may call the framework");
  });
  KtSleep(60000);
  KtSleep(1000);
  EXPECT_THAT(slept, ElementsAre(60000u, 1000u));
  EXPECT_EQ(framework_.SleptMs(), 61000u);
  EXPECT_EQ(framework_.Sleeps(), 2u);
}

TEST_F(FakeText, ConvertsBetweenUtf8AndUtf16AndRefusesMalformedText) {
  EXPECT_EQ(Ktmbstowcs(nullptr, "a\xF0\x9F\x92\xBE", 0), 3u);
  KtWchar wide[4];
  EXPECT_EQ(Ktmbstowcs(wide, "a\xF0\x9F\x92\xBE", 4), 3u);
  EXPECT_EQ(wide[3], 0);
  char narrow[3];
  EXPECT_EQ(Ktwcstombs(nullptr, wide, 0), 5u);
  EXPECT_EQ(Ktwcstombs(narrow, KT_W("abcd"), 3), 3u);
  EXPECT_EQ(narrow[2], 'c');
  EXPECT_EQ(Ktmbstowcs(nullptr, "\xC3", 0), static_cast<std::size_t>(-1));
  const KtWchar lone[] = {0xD800, 0};
  EXPECT_EQ(Ktwcstombs(nullptr, lone, 0), static_cast<std::size_t>(-1));
  const KtGuid guid{0xAB, 1, 0, {}};
  char* text = KtGUIDToString(&guid);
  EXPECT_STREQ(text, "{000000AB-0001-0000-0000-000000000000}");
  _KtFree(text);
}

}  // namespace
