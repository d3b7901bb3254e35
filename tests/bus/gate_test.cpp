// The gate that every call across the interface passes, both ways.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus_test.h"
#include "bus/foreign_module.h"
#include "bus/gate_watch.h"

namespace bus_test {
namespace {

template <typename T>
T* At(const KtBusWord& word) {
  return reinterpret_cast<T*>(static_cast<std::uintptr_t>(word.value));
}

std::vector<std::uint32_t> Kinds(const SeenCall& call) {
  std::vector<std::uint32_t> kinds;
  for (const KtBusWord& word : call.words) kinds.push_back(word.kind);
  return kinds;
}

class GateTest : public BusTest {
 protected:
  // Runs the work inside one of alpha's functions.
  void AsAlpha(const std::function<void()>& work) {
    alpha().get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
      work();
      return kOk;
    };
    EXPECT_EQ(KtBusProviderGetAttr(provider(), 1, 2, 3, 4), kOk);
  }

  KtObjId Served() {
    const KtObjId object = NewObject();
    EXPECT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
    return object;
  }
};

// ---- What is seen ----------------------------------------------------------------------------

TEST_F(GateTest, SeesACallWithItsWordsAndItsResult) {
  const KtObjId object = NewObject();
  const Watch watch;
  char* type = nullptr;
  ASSERT_EQ(ObGetObjectType(database(), &object, &type), kOk);
  const auto calls = watch.calls();
  _KtFree(type);
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].function, "ObGetObjectType");
  EXPECT_FALSE(calls[0].inward);
  EXPECT_EQ(Kinds(calls[0]), (std::vector<std::uint32_t>{KTBUS_WORD_DATABASE, KTBUS_WORD_OBJECT,
                                                         KTBUS_WORD_OUT_TEXT}));
  EXPECT_EQ(At<const KtObjId>(calls[0].words[1]), &object);
  EXPECT_EQ(At<char*>(calls[0].words[2]), &type);
  EXPECT_EQ(calls[0].result_kind, KTBUS_WORD_STATUS);
  EXPECT_EQ(calls[0].result, kOk);
  EXPECT_EQ(calls[0].outcome, KTBUS_CALL_MADE);
}

TEST_F(GateTest, FindsWhatComesBackInItsPlaceAfterTheCall) {
  KtPropset seen = nullptr;
  const Watch watch({}, [&](const KtBusCall& call) {
    if (std::strcmp(call.function, "PsCreatePropset") == 0) {
      seen = *At<KtPropset>(call.arguments[0]);
    }
  });
  const KtPropset set = NewSet();
  EXPECT_EQ(seen, set);
  PsDestroyPropset(set);
}

TEST_F(GateTest, SeesTheResultOfEveryKind) {
  const Watch watch;
  void* const block = _KtAlloc(4);
  char* const text = KtGUIDToString(&kInterfaceA);
  const std::uint32_t level = KtSetTraceLevel(3);
  KtSetTraceLevel(level);
  EXPECT_EQ(KtlstrlenA("four"), 4);
  EXPECT_EQ(Ktmbstowcs(nullptr, "\xFF", 0), static_cast<std::size_t>(-1));
  EXPECT_EQ(EvMatch(database(), "a.b", "a.*"), 1);
  const auto calls = watch.calls();
  _KtFree(block);
  _KtFree(text);
  ASSERT_EQ(calls.size(), 7U);
  EXPECT_EQ(calls[0].result_kind, KTBUS_WORD_ADDRESS);
  EXPECT_EQ(calls[0].result, reinterpret_cast<std::uintptr_t>(block));
  EXPECT_EQ(calls[1].result_kind, KTBUS_WORD_TEXT);
  EXPECT_EQ(calls[1].result, reinterpret_cast<std::uintptr_t>(text));
  EXPECT_EQ(calls[2].result_kind, KTBUS_WORD_UINT32);
  EXPECT_EQ(calls[2].result, level);
  EXPECT_EQ(calls[4].result_kind, KTBUS_WORD_INT32);
  EXPECT_EQ(calls[4].result, 4U);
  EXPECT_EQ(calls[5].result_kind, KTBUS_WORD_UINT64);
  EXPECT_EQ(calls[5].result, ~std::uint64_t{0});
  EXPECT_EQ(calls[6].result_kind, KTBUS_WORD_BOOLEAN);
  EXPECT_EQ(calls[6].result, 1U);
}

TEST_F(GateTest, SeesATraceWithItsFormatAndItsTextWhateverTheLevel) {
  std::string format;
  std::string text;
  const Watch watch({}, [&](const KtBusCall& call) {
    format = At<const char>(call.arguments[1]);
    text = At<const char>(call.arguments[2]);
  });
  KtTrace(0, "%s %d", "seven", 7);
  EXPECT_EQ(format, "%s %d");
  EXPECT_EQ(text, "seven 7");
  EXPECT_EQ(watch.calls().at(0).words.at(0).value, 0U);
  EXPECT_TRUE(Traces().empty());
}

TEST_F(GateTest, LetsATraceThroughOnce) {
  const Watch watch;
  KtTrace(6, "%s", "through the gate");
  ASSERT_EQ(Traces().size(), 1U);
  EXPECT_EQ(Traces()[0].text, "through the gate");
}

TEST_F(GateTest, DoesNotSeeWhatTheFrameworkCallsOfItself) {
  const Watch watch;
  int foreign = 0;
  _KtFree(&foreign);  // which the framework reports in the trace
  EXPECT_TRUE(HasTrace(6, "_KtFree"));
  EXPECT_EQ(watch.names(), (std::vector<std::string>{"_KtFree"}));
  ForgetLedger();
}

TEST_F(GateTest, SeesTheCallersAccount) {
  const Watch watch;
  void* block = _KtAlloc(1);
  AsAlpha([&] { _KtFree(block); });
  const auto calls = watch.calls();
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0].provider, "");
  EXPECT_EQ(calls[1].function, "_KtFree");
  EXPECT_EQ(calls[1].provider, "alpha");
  EXPECT_EQ(calls[2].function, "GetAttr");
  EXPECT_EQ(calls[2].provider, "alpha");
}

TEST_F(GateTest, LeavesTheLedgerWithTheModuleWhoseCodeCalled) {
  ASSERT_EQ(KtBusNameModule("gate-foreign", ForeignModuleAddress()), kOk);
  const Watch watch;
  void* const block = ForeignModuleAlloc(3);
  const KtPropset set = ForeignModulePropset();
  EXPECT_EQ(watch.calls().at(0).provider, "gate-foreign");
  EXPECT_EQ(Sum("gate-foreign").outstanding, 2U);
  _KtFree(block);
  PsDestroyPropset(set);
  EXPECT_EQ(Sum("gate-foreign").outstanding, 0U);
  EXPECT_EQ(KtBusForgetModule(ForeignModuleAddress()), kOk);
}

TEST_F(GateTest, NumbersThreads) {
  const Watch watch;
  _KtFree(_KtAlloc(1));
  std::thread([] { _KtFree(_KtAlloc(1)); }).join();
  const auto calls = watch.calls();
  ASSERT_EQ(calls.size(), 4U);
  EXPECT_EQ(calls[0].thread, calls[1].thread);
  EXPECT_EQ(calls[2].thread, calls[3].thread);
  EXPECT_NE(calls[0].thread, calls[2].thread);
  EXPECT_NE(calls[0].thread, 0U);
}

// ---- The other direction ---------------------------------------------------------------------

TEST_F(GateTest, SeesAControlOnItsWayIntoTheProviderWithTheInterfaceAsAGuid) {
  const KtObjId object = Served();
  KtGuid seen{};
  const Watch watch([&](KtBusCall& call) {
    if (call.inward != 0) seen = *At<const KtGuid>(call.arguments[9]);
    return false;
  });
  alpha().control = [](const ScriptedProvider::ControlCall&) { return KtStatus{0xC1000002}; };
  KtStatus answer = kOk;
  ASSERT_EQ(KtBusSendControl(database(), &object, &kInterfaceA, 5, 6, nullptr, nullptr, &answer),
            kOk);
  EXPECT_EQ(answer, 0xC1000002U);
  const auto calls = watch.calls();
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_TRUE(calls[0].inward);
  EXPECT_EQ(calls[0].function, "Control");
  EXPECT_EQ(calls[0].provider, "alpha");
  ASSERT_EQ(calls[0].words.size(), 12U);
  EXPECT_EQ(calls[0].words[0].kind, KTBUS_WORD_OBJECT);
  EXPECT_EQ(calls[0].words[1].value, 5U);
  EXPECT_EQ(calls[0].words[2].value, 6U);
  EXPECT_EQ(calls[0].words[9].kind, KTBUS_WORD_GUID);
  EXPECT_EQ(std::memcmp(&seen, &kInterfaceA, sizeof(seen)), 0);
  EXPECT_EQ(calls[0].result, 0xC1000002U);
}

TEST_F(GateTest, SeesAllSixFunctionsOfAProvider) {
  const KtObjId object = Served();
  const KtCookie cookie = Subscribe(alpha(), "gate.event");
  const Watch watch;
  KtStatus answer = kOk;
  KtWchar* text = nullptr;
  KtBusInitializeProvider(provider());
  KtBusSendControl(database(), &object, &kInterfaceA, 0, 0, nullptr, nullptr, &answer);
  KtBusProviderGetAttr(provider(), 0, 0, 0, 0);
  KtBusProviderVersion(provider(), &text);
  Raise("gate.event");
  Deliver();
  KtBusShutdownProvider(provider(), 9);
  const auto calls = watch.calls();
  EvUnregisterEvent(database(), cookie);
  std::vector<std::string> names;
  for (const auto& call : calls) names.push_back(call.function);
  EXPECT_EQ(names, (std::vector<std::string>{"Initialize", "Control", "GetAttr", "Version",
                                             "ChangeNotify", "Shutdown"}));
  EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](const auto& call) {
    return call.inward && call.provider == "alpha" && call.result_kind == KTBUS_WORD_STATUS;
  }));
  EXPECT_EQ(calls[4].words.at(3).kind, KTBUS_WORD_EVENT);
  EXPECT_NE(calls[4].thread, calls[0].thread);
  EXPECT_EQ(calls[5].words.at(0).value, 9U);
}

TEST_F(GateTest, TellsThatAProviderThrew) {
  const Watch watch;
  alpha().get_attr = [](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) -> KtStatus {
    throw std::uint32_t{7};
  };
  EXPECT_EQ(KtBusProviderGetAttr(provider(), 0, 0, 0, 0), kThrew);
  ASSERT_EQ(watch.calls().size(), 1U);
  EXPECT_EQ(watch.calls()[0].outcome, KTBUS_CALL_THREW);
  EXPECT_EQ(watch.calls()[0].result, kThrew);
}

TEST_F(GateTest, AnswersInPlaceOfTheProvider) {
  int asked = 0;
  alpha().shutdown = [&](std::uint64_t) {
    ++asked;
    return kOk;
  };
  const Watch watch([](KtBusCall& call) {
    call.result = 0xC1000077;
    return true;
  });
  EXPECT_EQ(KtBusShutdownProvider(provider(), 0), 0xC1000077U);
  EXPECT_EQ(asked, 0);
}

// ---- Answering -------------------------------------------------------------------------------

TEST_F(GateTest, FailsACallWithTheStatusThatItSays) {
  KtPropset set = nullptr;
  {
    const Watch watch([](KtBusCall& call) {
      call.result = 0x8007000E;
      return true;
    });
    EXPECT_EQ(PsCreatePropset(&set), 0x8007000EU);
    ASSERT_EQ(watch.calls().size(), 1U);
    EXPECT_EQ(watch.calls()[0].outcome, KTBUS_CALL_ANSWERED);
  }
  EXPECT_EQ(set, nullptr);
}

TEST_F(GateTest, AnswersNullWhereAPointerIsAskedFor) {
  const Watch watch([](KtBusCall&) { return true; });
  EXPECT_EQ(_KtAlloc(8), nullptr);
  EXPECT_EQ(KtGUIDToString(&kInterfaceA), nullptr);
}

TEST_F(GateTest, AnswersWithWhatItWroteIntoThePlaces) {
  const KtObjId wanted{kInterfaceB};
  KtObjId made{};
  {
    const Watch watch([&](KtBusCall& call) {
      *At<KtObjId>(call.arguments[3]) = wanted;
      return true;
    });
    EXPECT_EQ(ObCreateObject(nullptr, nullptr, "any", &made), kOk);
  }
  EXPECT_TRUE(SameId(made, wanted));
}

TEST_F(GateTest, LeavesAFunctionWithoutAResultUndone) {
  const Watch watch([](KtBusCall& call) { return std::strcmp(call.function, "KtTrace") == 0; });
  KtTrace(6, "never written");
  EXPECT_TRUE(Traces().empty());
}

TEST_F(GateTest, IgnoresAResultThatItDidNotAnswerWith) {
  const Watch watch([](KtBusCall& call) {
    call.result = 5;
    return false;
  });
  const KtPropset set = NewSet();
  EXPECT_EQ(PsDestroyPropset(set), kOk);
  alpha().shutdown = {};
  EXPECT_EQ(KtBusShutdownProvider(provider(), 0), kOk);
}

TEST_F(GateTest, HandsTheMemoOfBeforeToAfter) {
  std::map<std::string, void*> memos;
  static int mark = 0;
  const Watch watch(
      [](KtBusCall& call) {
        EXPECT_EQ(call.memo, nullptr);
        call.memo = &mark;
        return false;
      },
      [&](const KtBusCall& call) { memos[call.function] = call.memo; });
  KtSleep(0);
  EXPECT_EQ(memos.at("KtSleep"), &mark);
}

// ---- A gate that calls -----------------------------------------------------------------------

TEST_F(GateTest, DoesNotPassWhatAGateCalls) {
  const Watch watch(
      [](KtBusCall&) {
        PsDestroyPropset(NewSet());
        return false;
      },
      [](const KtBusCall&) { _KtFree(_KtAlloc(1)); });
  KtSleep(0);
  EXPECT_EQ(watch.names(), (std::vector<std::string>{"KtSleep"}));
  EXPECT_EQ(watch.begun(), 1U);
}

TEST_F(GateTest, PutsWhatAGateAsksForDownToTheHost) {
  void* block = nullptr;
  {
    const Watch watch([&](KtBusCall& call) {
      if (call.inward == 0) block = _KtAlloc(1);
      return false;
    });
    AsAlpha([] { KtSleep(0); });
  }
  EXPECT_EQ(Sum("alpha").outstanding, 0U);
  EXPECT_NE(block, nullptr);
  _KtFree(block);
}

TEST_F(GateTest, MayUseTheVeryThingThatTheCallIsAbout) {
  const KtPropset set = NewSet();
  AddText(set, "text", "value");
  std::string found;
  const Watch watch([&](KtBusCall& call) {
    found = TextOf(Find(std::bit_cast<KtPropset>(call.arguments[0].value), "text"));
    return false;
  });
  EXPECT_EQ(PsDestroyPropset(set), kOk);
  EXPECT_EQ(found, "value");
}

TEST_F(GateTest, IsCalledWithNoLockHeld) {
  // Everything that the framework locks for itself is used while the gate is asked.
  const KtObjId object = Served();
  const Watch watch([&](KtBusCall&) {
    const KtObjId other = NewObject();
    EXPECT_EQ(ObAttachChildObject(database(), &object, &other), kOk);
    EXPECT_EQ(ObDeleteObject(database(), &other), kOk);
    EXPECT_EQ(Raise("gate.any"), kOk);
    EXPECT_EQ(DbLockDatabase(provider()), kOk);
    EXPECT_EQ(DbUnlockDatabase(provider()), kOk);
    static_cast<void>(Sum());
    return false;
  });
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  EXPECT_EQ(ObGetChildObjects(database(), &object, &list, &count), kOk);
  EXPECT_EQ(DbLockDatabase(provider()), kOk);
  EXPECT_EQ(DbUnlockDatabase(provider()), kOk);
  EXPECT_EQ(watch.calls().size(), 3U);
}

TEST_F(GateTest, DoesNotPassWhatATraceCallBackCalls) {
  const Watch watch;
  ASSERT_EQ(KtBusTraceToCallback(
                [](std::uint32_t, const char*, void*) { PsDestroyPropset(NewSet()); }, nullptr),
            kOk);
  KtTrace(6, "one line");
  ASSERT_EQ(KtBusTraceToCallback(nullptr, nullptr), kOk);
  EXPECT_EQ(watch.names(), (std::vector<std::string>{"KtTrace"}));
}

// ---- Putting up and taking back --------------------------------------------------------------

TEST_F(GateTest, IsNotCalledAnyMoreOnceItHasBeenTakenBack) {
  std::size_t seen = 0;
  {
    const Watch watch({}, [&](const KtBusCall&) { ++seen; });
    KtSleep(0);
  }
  KtSleep(0);
  EXPECT_EQ(seen, 1U);
}

TEST_F(GateTest, CannotBeChangedFromInsideAGate) {
  KtStatus status = kOk;
  const Watch watch([&](KtBusCall&) {
    status = KtBusSetCallGate(nullptr);
    return false;
  });
  KtSleep(0);
  EXPECT_EQ(status, kInvalid);
}

TEST_F(GateTest, RefusesAGateOfAnotherSize) {
  KtBusCallGate gate{};
  gate.size = sizeof(gate) - 8;
  EXPECT_EQ(KtBusSetCallGate(&gate), kInvalid);
}

TEST_F(GateTest, MayHaveEitherCallBackAlone) {
  KtBusCallGate gate{};
  gate.size = sizeof(gate);
  ASSERT_EQ(KtBusSetCallGate(&gate), kOk);
  void* const block = _KtAlloc(1);
  EXPECT_NE(block, nullptr);
  _KtFree(block);
  EXPECT_EQ(KtBusSetCallGate(nullptr), kOk);
}

TEST_F(GateTest, IsNotToldTheEndOfACallWhoseBeginItDidNotSee) {
  std::mutex lock;
  std::condition_variable changed;
  bool inside = false;
  bool go_on = false;
  alpha().get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
    std::unique_lock guard(lock);
    inside = true;
    changed.notify_all();
    changed.wait(guard, [&] { return go_on; });
    return kOk;
  };
  std::thread caller([&] { EXPECT_EQ(KtBusProviderGetAttr(provider(), 0, 0, 0, 0), kOk); });
  {
    std::unique_lock guard(lock);
    changed.wait(guard, [&] { return inside; });
  }
  {
    const Watch watch;
    {
      const std::lock_guard guard(lock);
      go_on = true;
      changed.notify_all();
    }
    caller.join();
    EXPECT_EQ(watch.names(), std::vector<std::string>{});
  }
}

TEST_F(GateTest, TakesBackAGateWhileACallWaitsBetweenItsTwoEnds) {
  KtCriticalSection section{};
  KtInitializeCriticalSection(&section);
  KtEnterCriticalSection(&section);
  std::mutex lock;
  std::condition_variable changed;
  bool begun = false;
  std::thread waiting;
  {
    const Watch watch([&](KtBusCall& call) {
      if (std::strcmp(call.function, "KtEnterCriticalSection") == 0) {
        const std::lock_guard guard(lock);
        begun = true;
        changed.notify_all();
      }
      return false;
    });
    waiting = std::thread([&] {
      KtEnterCriticalSection(&section);
      KtLeaveCriticalSection(&section);
    });
    std::unique_lock guard(lock);
    changed.wait(guard, [&] { return begun; });
  }
  KtLeaveCriticalSection(&section);
  waiting.join();
  KtDeleteCriticalSection(&section);
}

TEST_F(GateTest, MayBeChangedWhileManyThreadsCall) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      while (!stop.load()) {
        const KtPropset set = NewSet();
        AddUint32(set, "n", 1);
        EXPECT_EQ(PsDestroyPropset(set), kOk);
      }
    });
  }
  for (int i = 0; i < 200; ++i) {
    const Watch watch;
  }
  stop.store(true);
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace bus_test
