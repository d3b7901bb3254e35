// Providers: attaching, calling in safety, routing controls, going.
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

using ProviderTest = BusTest;

TEST_F(ProviderTest, FunctionsGetTheirArgumentsAndTheirStatusComesBack) {
  KtDatabase seen_database = nullptr;
  KtProvider seen_provider = nullptr;
  alpha().initialize = [&](KtDatabase database, KtProvider provider) {
    seen_database = database;
    seen_provider = provider;
    return KtStatus{0x12345678};
  };
  EXPECT_EQ(KtBusInitializeProvider(provider()), 0x12345678U);
  EXPECT_EQ(seen_database, database());
  EXPECT_EQ(seen_provider, provider());

  std::uint64_t argument = 0;
  alpha().shutdown = [&](std::uint64_t value) {
    argument = value;
    return KtStatus{1};
  };
  EXPECT_EQ(KtBusShutdownProvider(provider(), 0xABCDEF0123456789), 1U);
  EXPECT_EQ(argument, 0xABCDEF0123456789U);

  std::vector<std::uint64_t> words;
  alpha().get_attr = [&](std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
    words = {a, b, c, d};
    return KtStatus{2};
  };
  EXPECT_EQ(KtBusProviderGetAttr(provider(), 1, 2, 3, 4), 2U);
  EXPECT_THAT(words, testing::ElementsAre(1, 2, 3, 4));
}

TEST_F(ProviderTest, VersionTextBelongsToTheCaller) {
  alpha().version = [](KtWchar** out) {
    *out = static_cast<KtWchar*>(_KtAlloc(2 * sizeof(KtWchar)));
    (*out)[0] = '7';
    (*out)[1] = 0;
    return kOk;
  };
  KtWchar* text = nullptr;
  ASSERT_EQ(KtBusProviderVersion(provider(), &text), kOk);
  EXPECT_EQ(text[0], '7');
  EXPECT_EQ(Row("alpha", "blocks").outstanding, 1U);
  _KtFree(text);
  EXPECT_EQ(Row("alpha", "blocks").outstanding, 0U);
}

TEST_F(ProviderTest, VersionThatFailsGivesNoText) {
  alpha().version = [](KtWchar**) { return kNotImplemented; };
  KtWchar dummy = 0;
  KtWchar* text = &dummy;
  EXPECT_EQ(KtBusProviderVersion(provider(), &text), kNotImplemented);
  EXPECT_EQ(text, nullptr);
}

TEST_F(ProviderTest, VersionGivesItsTextWithEveryStatusThatIsNoFailure) {
  alpha().version = [](KtWchar** out) {
    *out = static_cast<KtWchar*>(_KtAlloc(sizeof(KtWchar)));
    **out = 0;
    return KtStatus{0x81000001};
  };
  KtWchar* text = nullptr;
  EXPECT_EQ(KtBusProviderVersion(provider(), &text), 0x81000001U);
  EXPECT_NE(text, nullptr);
  _KtFree(text);
}

// Calls that take every lock that there is, on this thread and on another one.
void CallEverything(KtDatabase database, KtProvider provider, const std::string& name) {
  const auto call = [&](const std::string& type_name) {
    EXPECT_EQ(DbLockDatabase(provider), kOk);
    const KtPropset set = NewSet();
    EXPECT_EQ(AddUint32(set, "x", 1), kOk);
    KtObjId type{};
    EXPECT_EQ(ObCreateTypeObject(database, type_name.c_str(), nullptr, set, &type), kOk);
    KtObjId parent{};
    KtObjId child{};
    EXPECT_EQ(ObCreateObject(database, provider, type_name.c_str(), &parent), kOk);
    EXPECT_EQ(ObCreateObject(database, provider, type_name.c_str(), &child), kOk);
    EXPECT_EQ(ObAttachChildObject(database, &parent, &child), kOk);
    EXPECT_EQ(ObRegisterInterface(database, &parent, provider, &kInterfaceB), kOk);
    KtCookie cookie = 0;
    EXPECT_EQ(EvRegisterEvent(database, provider, "x", &cookie), kOk);
    EXPECT_EQ(EvRaiseEvent(database, provider, "x", set), kOk);
    EXPECT_EQ(EvUnregisterEvent(database, cookie), kOk);
    const KtAlertDefinition alert{type_name.c_str(), nullptr, 1, 0};
    EXPECT_EQ(ObPublishAlert(database, provider, &alert), kOk);
    EXPECT_EQ(ObRaiseAlert(database, provider, type_name.c_str(), set, &parent), kOk);
    EXPECT_EQ(ObUnpublishAlert(database, provider, type_name.c_str()), kOk);
    KtProviderTable table{};
    KtProvider other = nullptr;
    EXPECT_EQ(KtBusAttachProvider(database, type_name.c_str(), &table, nullptr, &other), kOk);
    EXPECT_EQ(KtBusDetachProvider(other), kOk);
    EXPECT_EQ(ObDeleteObject(database, &child), kOk);
    EXPECT_EQ(ObDeleteObject(database, &parent), kOk);
    PsDestroyPropset(set);
    EXPECT_EQ(DbUnlockDatabase(provider), kOk);
  };
  call(name);
  std::thread([&] { call(name + " elsewhere"); }).join();
}

TEST_F(ProviderTest, NoLockIsHeldWhileAnyOfItsFunctionsRuns) {
  std::atomic<int> ran{0};
  const auto everything = [&](const char* name) {
    CallEverything(database(), provider(), name);
    ++ran;
    return kOk;
  };
  alpha().initialize = [&](KtDatabase, KtProvider) { return everything("Initialize"); };
  alpha().shutdown = [&](std::uint64_t) { return everything("Shutdown"); };
  alpha().get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
    return everything("GetAttr");
  };
  alpha().version = [&](KtWchar**) { return everything("Version"); };
  // What the calls themselves raise may come as well, where its subscription has not gone yet.
  alpha().notify = [&](const KtEventRecord& record) {
    return record.name == std::string("n") ? everything("ChangeNotify") : kOk;
  };
  EXPECT_EQ(KtBusInitializeProvider(provider()), kOk);
  EXPECT_EQ(KtBusProviderGetAttr(provider(), 0, 0, 0, 0), kOk);
  KtWchar* text = nullptr;
  EXPECT_EQ(KtBusProviderVersion(provider(), &text), kOk);
  const KtCookie cookie = Subscribe(alpha(), "n");
  Raise("n");
  Deliver();
  EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
  EXPECT_EQ(KtBusShutdownProvider(provider(), 0), kOk);
  EXPECT_EQ(ran, 5);
}

TEST_F(ProviderTest, AMissingFunctionIsNotImplemented) {
  const KtProviderTable empty{};
  KtProvider bare = nullptr;
  ASSERT_EQ(KtBusAttachProvider(database(), "bare", &empty, nullptr, &bare), kOk);
  KtWchar* text = nullptr;
  EXPECT_EQ(KtBusInitializeProvider(bare), kNotImplemented);
  EXPECT_EQ(KtBusShutdownProvider(bare, 0), kNotImplemented);
  EXPECT_EQ(KtBusProviderVersion(bare, &text), kNotImplemented);
  EXPECT_EQ(KtBusProviderGetAttr(bare, 0, 0, 0, 0), kNotImplemented);
  EXPECT_EQ(KtBusDetachProvider(bare), kOk);
}

TEST_F(ProviderTest, ANameIsTakenWhileItsProviderIsAttached) {
  ScriptedProvider other;
  KtProvider handle = nullptr;
  EXPECT_EQ(KtBusAttachProvider(database(), "alpha", &other.table(), nullptr, &handle),
            KTBUS_PROVIDER_NAME_TAKEN);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(KtBusDetachProvider(provider()), kOk);
  other.Attach(database(), "alpha");
}

TEST_F(ProviderTest, AnEmptyNameOrAnAddressOutsideEveryModuleIsRefused) {
  KtProvider handle = nullptr;
  EXPECT_EQ(KtBusAttachProvider(database(), "", &alpha().table(), nullptr, &handle), kInvalid);
  const int local = 0;
  EXPECT_EQ(KtBusAttachProvider(database(), "b", &alpha().table(), &local, &handle), kInvalid);
}

// ---- Exceptions --------------------------------------------------------------------------------

class ThrowingTest : public BusTest {
 protected:
  std::uint64_t Exceptions() {
    std::uint64_t count = 0;
    EXPECT_EQ(KtBusProviderExceptions(provider(), &count), kOk);
    return count;
  }
  // Throws what the round says: a status, a standard exception, something else.
  [[noreturn]] static void Throw(int what) {
    if (what == 0) throw std::uint32_t{0xC100001F};
    if (what == 1) throw std::runtime_error("out of luck");
    throw 'x';
  }
  static constexpr std::array kSaid{"the status 0xc100001f", "out of luck", "something"};
};

TEST_F(ThrowingTest, EveryFunctionThatThrowsIsAnsweredReportedAndCounted) {
  const KtObjId object = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  int what = 0;
  alpha().initialize = [&](KtDatabase, KtProvider) -> KtStatus { Throw(what); };
  alpha().shutdown = [&](std::uint64_t) -> KtStatus { Throw(what); };
  alpha().get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) -> KtStatus {
    Throw(what);
  };
  alpha().version = [&](KtWchar**) -> KtStatus { Throw(what); };
  alpha().control = [&](const ScriptedProvider::ControlCall&) -> KtStatus { Throw(what); };
  const auto process_before = Sum("alpha").exceptions;

  std::uint64_t expected = 0;
  for (; what < 3; ++what) {
    KtWchar* text = nullptr;
    KtStatus answer = 0;
    EXPECT_EQ(KtBusInitializeProvider(provider()), kThrew);
    EXPECT_EQ(KtBusShutdownProvider(provider(), 0), kThrew);
    EXPECT_EQ(KtBusProviderGetAttr(provider(), 0, 0, 0, 0), kThrew);
    EXPECT_EQ(KtBusProviderVersion(provider(), &text), kThrew);
    EXPECT_EQ(KtBusSendControl(database(), &object, &kInterfaceA, 0, 1, nullptr, nullptr, &answer),
              kOk);
    EXPECT_EQ(answer, kThrew);
    expected += 5;
    EXPECT_EQ(Exceptions(), expected);
    for (const char* const function : {"Initialize", "Shutdown", "GetAttr", "Version", "Control"}) {
      EXPECT_TRUE(HasTrace(6, std::string("provider alpha threw out of ") + function + ": " +
                                  kSaid[static_cast<std::size_t>(what)]))
          << function;
    }
  }
  EXPECT_EQ(Sum("alpha").exceptions - process_before, expected);
}

TEST_F(ThrowingTest, ANoticeThatThrowsIsReportedAndTheNextOneIsDelivered) {
  std::atomic<int> delivered{0};
  alpha().notify = [&](const KtEventRecord&) -> KtStatus { Throw(delivered++ % 3); };
  const KtCookie cookie = Subscribe(alpha(), "a");
  for (int i = 0; i < 6; ++i) Raise("a");
  Deliver();
  EXPECT_EQ(delivered, 6);
  EXPECT_EQ(Exceptions(), 6U);
  EXPECT_TRUE(HasTrace(6, "provider alpha threw out of ChangeNotify: the status 0xc100001f"));
  EvUnregisterEvent(database(), cookie);
}

// ---- Controls ----------------------------------------------------------------------------------

class ControlTest : public BusTest {
 protected:
  KtStatus Send(const KtObjId& object, const KtGuid& interface_id, KtStatus* answer = nullptr,
                KtPropset input = nullptr, KtPropset output = nullptr) {
    KtStatus ignored = 0;
    return KtBusSendControl(database(), &object, &interface_id, 3, 11005, input, output,
                            answer == nullptr ? &ignored : answer);
  }
  // Every control that the provider gets is answered with the mark.
  static void AnswerWith(ScriptedProvider& who, KtStatus mark) {
    who.control = [mark](const ScriptedProvider::ControlCall&) { return mark; };
  }
};

TEST_F(ControlTest, ReachesTheProviderWithAllThatTheClientGave) {
  const KtObjId object = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  const KtPropset input = NewSet();
  const KtPropset output = NewSet();
  AddUint32(input, "tracelevel", 3);
  alpha().control = [&](const ScriptedProvider::ControlCall& call) {
    EXPECT_TRUE(SameId(call.object, object));
    EXPECT_EQ(call.selector, 3U);
    EXPECT_EQ(call.code, 11005U);
    EXPECT_EQ(std::memcmp(&call.interface_id, &kInterfaceA, 16), 0);
    EXPECT_EQ(ValueOf<std::uint32_t>(Find(call.input, "tracelevel")), 3U);
    EXPECT_EQ(AddUint32(call.output, "tracelevel", 5), kOk);
    return KtStatus{77};
  };
  KtStatus answer = 0;
  EXPECT_EQ(Send(object, kInterfaceA, &answer, input, output), kOk);
  EXPECT_EQ(answer, 77U);
  EXPECT_EQ(ValueOf<std::uint32_t>(Find(output, "tracelevel")), 5U);
  PsDestroyPropset(input);
  PsDestroyPropset(output);
}

TEST_F(ControlTest, WithoutPropertySetsGivesTheProviderEmptyOnes) {
  const KtObjId object = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  alpha().control = [&](const ScriptedProvider::ControlCall& call) {
    EXPECT_EQ(Find(call.input, "x"), nullptr);
    EXPECT_EQ(AddUint32(call.output, "x", 1), kOk);
    return kOk;
  };
  EXPECT_EQ(Send(object, kInterfaceA), kOk);
}

TEST_F(ControlTest, SurvivesAProviderThatDestroysItsPropertySets) {
  const KtObjId object = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  alpha().control = [&](const ScriptedProvider::ControlCall& call) {
    EXPECT_EQ(PsDestroyPropset(call.input), kOk);
    EXPECT_EQ(PsDestroyPropset(call.output), kOk);
    return kOk;
  };
  const KtPropset input = NewSet();
  const KtPropset output = NewSet();
  EXPECT_EQ(Send(object, kInterfaceA), kOk);
  EXPECT_EQ(Send(object, kInterfaceA, nullptr, input, output), kOk);
  EXPECT_EQ(PsDestroyPropset(input), kNoObject);
}

TEST_F(ControlTest, LooksTheInterfaceUpOnTheObjectThenItsTypeThenTheSuperclasses) {
  ScriptedProvider on_root;
  ScriptedProvider on_super;
  ScriptedProvider on_type;
  on_root.Attach(database(), "root");
  on_super.Attach(database(), "super");
  on_type.Attach(database(), "type");
  AnswerWith(on_root, 1);
  AnswerWith(on_super, 2);
  AnswerWith(on_type, 3);
  AnswerWith(alpha(), 4);
  const KtObjId disk = NewObject("qelm_ktvm_disk");
  KtStatus answer = 0;

  EXPECT_EQ(Send(disk, kInterfaceA, &answer), KTBUS_INTERFACE_NOT_OFFERED);
  const auto on = [&](const char* type, const ScriptedProvider& who) {
    return ObRegisterInterfaceOnType(database(), type, who.handle(), &kInterfaceA);
  };
  ASSERT_EQ(on("QELM_Object", on_root), kOk);
  ASSERT_EQ(Send(disk, kInterfaceA, &answer), kOk);
  EXPECT_EQ(answer, 1U);
  ASSERT_EQ(on("qelm_ktvm", on_super), kOk);
  ASSERT_EQ(Send(disk, kInterfaceA, &answer), kOk);
  EXPECT_EQ(answer, 2U);
  ASSERT_EQ(on("qelm_ktvm_disk", on_type), kOk);
  ASSERT_EQ(Send(disk, kInterfaceA, &answer), kOk);
  EXPECT_EQ(answer, 3U);
  ASSERT_EQ(ObRegisterInterface(database(), &disk, provider(), &kInterfaceA), kOk);
  ASSERT_EQ(Send(disk, kInterfaceA, &answer), kOk);
  EXPECT_EQ(answer, 4U);

  const KtObjId volume = NewObject("qelm_ktvm_volume");
  ASSERT_EQ(Send(volume, kInterfaceA, &answer), kOk);
  EXPECT_EQ(answer, 2U);
}

TEST_F(ControlTest, GoesToTheOwnerOfTheInterfaceWhoeverMadeTheObject) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  AnswerWith(beta, 9);
  const KtObjId object = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &object, beta.handle(), &kInterfaceB), kOk);
  KtStatus answer = 0;
  EXPECT_EQ(Send(object, kInterfaceB, &answer), kOk);
  EXPECT_EQ(answer, 9U);
}

TEST_F(ControlTest, DistinguishesWhatIsMissing) {
  const KtObjId object = NewObject();
  const KtObjId unknown{kInterfaceB};
  KtStatus answer = 55;
  EXPECT_EQ(Send(unknown, kInterfaceA, &answer), KTBUS_NO_OBJECT);
  EXPECT_EQ(Send(object, kInterfaceA, &answer), KTBUS_INTERFACE_NOT_OFFERED);
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  ASSERT_EQ(ObRegisterInterface(database(), &object, beta.handle(), &kInterfaceA), kOk);
  ASSERT_EQ(KtBusDetachProvider(beta.handle()), kOk);
  EXPECT_EQ(Send(object, kInterfaceA, &answer), KTBUS_PROVIDER_GONE);
  EXPECT_EQ(answer, 55U);
}

TEST_F(ControlTest, AnInterfaceIsRegisteredOnceOnAnObjectAndOnceOnAType) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  const KtObjId object = NewObject();
  EXPECT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  EXPECT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA),
            kDuplicateInterface);
  EXPECT_EQ(ObRegisterInterface(database(), &object, beta.handle(), &kInterfaceA),
            kDuplicateInterface);
  EXPECT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceB), kOk);
  EXPECT_EQ(ObRegisterInterfaceOnType(database(), "qelm_ktvm", provider(), &kInterfaceA), kOk);
  EXPECT_EQ(ObRegisterInterfaceOnType(database(), "qelm_ktvm", beta.handle(), &kInterfaceA),
            kDuplicateInterface);
}

TEST_F(ControlTest, AnInterfaceWhoseProviderIsGoneCanBeTakenOver) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  const KtObjId object = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &object, beta.handle(), &kInterfaceA), kOk);
  ASSERT_EQ(KtBusDetachProvider(beta.handle()), kOk);
  EXPECT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  AnswerWith(alpha(), 6);
  KtStatus answer = 0;
  EXPECT_EQ(Send(object, kInterfaceA, &answer), kOk);
  EXPECT_EQ(answer, 6U);
}

TEST_F(ControlTest, RunsWithNoLockHeldSoTheHandlerMayDoAnything) {
  const KtObjId object = NewObject("qelm_ktvm");
  ASSERT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  int depth = 0;
  alpha().control = [&](const ScriptedProvider::ControlCall& call) {
    if (++depth < 3) {
      EXPECT_EQ(Send(object, kInterfaceA), kOk);
    }
    EXPECT_EQ(DbLockDatabase(provider()), kOk);
    const KtObjId made = NewObject("qelm_ktvm");
    EXPECT_EQ(ObAttachChildObject(database(), &object, &made), kOk);
    EXPECT_EQ(ObRegisterInterface(database(), &made, provider(), &kInterfaceB), kOk);
    EXPECT_EQ(ObDeleteObject(database(), &made), kOk);
    KtObjId type{};
    const std::string name = "type" + std::to_string(depth);
    EXPECT_EQ(ObCreateTypeObject(database(), name.c_str(), nullptr, call.input, &type), kOk);
    EXPECT_EQ(Raise("x"), kOk);
    EXPECT_EQ(DbUnlockDatabase(provider()), kOk);
    ++depth;
    return kOk;
  };
  EXPECT_EQ(Send(object, kInterfaceA), kOk);
}

// ---- Going -------------------------------------------------------------------------------------

class DetachTest : public BusTest {};

TEST_F(DetachTest, DropsSubscriptionsWithALineAndDeliversNothingMore) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  Notices notices;
  beta.notify = notices.Recorder();
  Subscribe(beta, "a");
  Subscribe(beta, "b");
  ASSERT_EQ(KtBusDetachProvider(beta.handle()), kOk);
  EXPECT_TRUE(HasTrace(6, "provider beta left 2 registrations behind"));
  Raise("a");
  Deliver();
  EXPECT_EQ(notices.size(), 0U);
  ForgetLedger();  // what the provider never gave back stays counted
}

TEST_F(DetachTest, WithNothingLeftBehindSaysNothing) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  ASSERT_EQ(KtBusDetachProvider(beta.handle()), kOk);
  EXPECT_FALSE(HasTrace(6, "beta"));
}

TEST_F(DetachTest, WaitsForCallsAndDiscardsWaitingNotices) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  std::mutex lock;
  std::condition_variable signal;
  bool entered = false;
  bool released = false;
  std::atomic<int> delivered{0};
  std::atomic<bool> left{false};
  beta.notify = [&](const KtEventRecord&) {
    ++delivered;
    std::unique_lock guard(lock);
    entered = true;
    signal.notify_all();
    signal.wait(guard, [&] { return released; });
    left = true;
    return kOk;
  };
  Subscribe(beta, "a");
  for (int i = 0; i < 10; ++i) Raise("a");
  {
    std::unique_lock guard(lock);
    signal.wait(guard, [&] { return entered; });
  }
  std::thread detacher([&] {
    EXPECT_EQ(KtBusDetachProvider(beta.handle()), kOk);
    EXPECT_TRUE(left);
  });
  // The first sign of the detachment: nothing is asked of the provider any more.
  while (KtBusProviderGetAttr(beta.handle(), 0, 0, 0, 0) == kOk) std::this_thread::yield();
  {
    const std::lock_guard guard(lock);
    released = true;
    signal.notify_all();
  }
  detacher.join();
  EXPECT_EQ(delivered, 1);
  ForgetLedger();
}

TEST_F(DetachTest, FromInsideAFunctionOfTheProviderIsRefused) {
  KtStatus inside = 0;
  KtStatus closing = 0;
  alpha().get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
    inside = KtBusDetachProvider(provider());
    closing = KtBusCloseDatabase(database());
    return kOk;
  };
  EXPECT_EQ(KtBusProviderGetAttr(provider(), 0, 0, 0, 0), kOk);
  EXPECT_EQ(inside, kInvalid);
  EXPECT_EQ(closing, kInvalid);
}

TEST_F(DetachTest, GivesItsAlertsUpWhileItPublishesThem) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  const KtAlertDefinition before{"before", nullptr, 1, 0};
  const KtAlertDefinition during{"during", nullptr, 1, 0};
  std::thread detacher;
  beta.get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
    EXPECT_EQ(ObPublishAlert(database(), beta.handle(), &before), kOk);
    detacher = std::thread([&] { EXPECT_EQ(KtBusDetachProvider(beta.handle()), kOk); });
    // Its alerts are gone, and it is not: the detachment waits for this call.
    while (ObRaiseAlert(database(), provider(), "before", nullptr, nullptr) == kOk) {
      std::this_thread::yield();
    }
    EXPECT_EQ(ObPublishAlert(database(), beta.handle(), &during), kNoObject);
    return kOk;
  };
  EXPECT_EQ(KtBusProviderGetAttr(beta.handle(), 0, 0, 0, 0), kOk);
  detacher.join();
  EXPECT_EQ(ObRaiseAlert(database(), provider(), "during", nullptr, nullptr), kAlertNotPublished);
  EXPECT_EQ(ObPublishAlert(database(), provider(), &during), kOk) << "the name is free";
}

TEST_F(DetachTest, LeavesTheObjectsOfTheProvider) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  KtObjId object{};
  ASSERT_EQ(ObCreateObject(database(), beta.handle(), "qelm_ktvm", &object), kOk);
  ASSERT_EQ(KtBusDetachProvider(beta.handle()), kOk);
  EXPECT_TRUE(SameIds(ObjectsOf("qelm_ktvm"), {object}));
}

TEST_F(DetachTest, ClosingTheDatabaseDetachesTheLastAttachedFirst) {
  KtDatabase other = nullptr;
  ASSERT_EQ(KtBusOpenDatabase(&other), kOk);
  ScriptedProvider first;
  ScriptedProvider second;
  first.Attach(other, "first");
  second.Attach(other, "second");
  KtCookie cookie = 0;
  ASSERT_EQ(EvRegisterEvent(other, first.handle(), "a", &cookie), kOk);
  ASSERT_EQ(EvRegisterEvent(other, second.handle(), "a", &cookie), kOk);
  ASSERT_EQ(KtBusCloseDatabase(other), kOk);
  std::vector<std::string> left;
  for (const TraceLine& line : Traces()) {
    if (line.text.find("left 1 registrations") != std::string::npos) left.push_back(line.text);
  }
  ASSERT_EQ(left.size(), 2U);
  EXPECT_THAT(left[0], testing::HasSubstr("second"));
  EXPECT_THAT(left[1], testing::HasSubstr("first"));
  EXPECT_EQ(KtBusDetachProvider(first.handle()), kNoObject);
  ForgetLedger();
}

}  // namespace
}  // namespace bus_test
