// The ledger: by provider, by kind, wrong releases; and what a visit of the database shows.
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus_test.h"
#include "bus/foreign_module.h"

namespace bus_test {
namespace {

class LedgerTest : public BusTest {
 protected:
  // Runs the work inside one of the provider's functions.
  void AsProvider(ScriptedProvider& who, const std::function<void()>& work) {
    who.get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
      work();
      return kOk;
    };
    EXPECT_EQ(KtBusProviderGetAttr(who.handle(), 0, 0, 0, 0), kOk);
  }
};

TEST_F(LedgerTest, CountsEachKindForTheProviderWhoseFunctionRuns) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta-kinds");
  const KtObjId object = NewObject("qelm_ktvm");
  KtPropset set = nullptr;
  KtIterator iterator = nullptr;
  cuvo_property* record = nullptr;
  char* text = nullptr;
  char* type = nullptr;
  void* block = nullptr;
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  KtCriticalSection section{};
  KtCookie event = 0;
  KtCookie alert = 0;
  AsProvider(beta, [&] {
    set = NewSet();
    AddUint32(set, "a", 1);
    PsOpenPropset(set, &iterator);
    PsFindProperty(set, "a", &record);
    text = KtGUIDToString(&kInterfaceA);
    ObGetObjectType(database(), &object, &type);
    block = _KtAlloc(10);
    DbGetObjects(database(), "qelm_ktvm", &list, &count);
    KtInitializeCriticalSection(&section);
    EvRegisterEvent(database(), beta.handle(), "a", &event);
    ObRegisterAlert(database(), beta.handle(), "event.alert", &alert);
    DbLockDatabase(beta.handle());
  });
  const auto outstanding = [](const char* kind) { return Row("beta-kinds", kind).outstanding; };
  EXPECT_EQ(outstanding("property sets"), 1U);
  EXPECT_EQ(outstanding("iterators"), 1U);
  EXPECT_EQ(outstanding("records"), 1U);
  EXPECT_EQ(outstanding("texts"), 2U);
  EXPECT_EQ(outstanding("blocks"), 2U);
  EXPECT_EQ(outstanding("locks"), 1U);
  EXPECT_EQ(outstanding("registrations"), 2U);
  EXPECT_EQ(outstanding("database locks held"), 1U);
  EXPECT_EQ(Sum("beta-kinds").outstanding, 11U);

  // Whoever returns a thing, it leaves the account it stands in.
  PsDestroyPropset(set);
  KtCloseHandle(iterator);
  PsFreeProperty(record);
  _KtFree(text);
  _KtFree(type);
  _KtFree(block);
  _KtFree(list);
  KtDeleteCriticalSection(&section);
  EvUnregisterEvent(database(), event);
  ObUnregisterAlert(database(), alert);
  DbUnlockDatabase(beta.handle());
  EXPECT_EQ(Sum("beta-kinds").outstanding, 0U);
  EXPECT_EQ(Sum("beta-kinds").total, 11U);
}

TEST_F(LedgerTest, CountsTheSetsThatARecordCarries) {
  const KtPropset nested = NewSet();
  const KtPropset set = NewSet();
  AddSet(set, "nested", nested);
  const auto before = Row("", "property sets").outstanding;
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set, "nested", &found), kOk);
  EXPECT_EQ(Row("", "property sets").outstanding, before + 1);
  const auto inside = static_cast<KtPropset>(found->value);
  _KtFree(found);
  EXPECT_EQ(Row("", "property sets").outstanding, before + 1);
  PsDestroyPropset(inside);
  EXPECT_EQ(Row("", "property sets").outstanding, before);
  PsDestroyPropset(nested);
  PsDestroyPropset(set);
}

TEST_F(LedgerTest, PutsWhatNoProviderAskedForDownToTheHost) {
  const auto before = Row("", "blocks").outstanding;
  void* const block = _KtAlloc(1);
  EXPECT_EQ(Row("", "blocks").outstanding, before + 1);
  _KtFree(block);
}

TEST_F(LedgerTest, KeepsTheAccountsOfTwoProvidersApart) {
  ScriptedProvider one;
  ScriptedProvider two;
  one.Attach(database(), "ledger-one");
  two.Attach(database(), "ledger-two");
  void* first = nullptr;
  void* second = nullptr;
  AsProvider(one, [&] {
    AsProvider(two, [&] { second = _KtAlloc(1); });
    first = _KtAlloc(1);
  });
  EXPECT_EQ(Sum("ledger-one").outstanding, 1U);
  EXPECT_EQ(Sum("ledger-two").outstanding, 1U);
  _KtFree(first);
  EXPECT_EQ(Sum("ledger-one").outstanding, 0U);
  EXPECT_EQ(Sum("ledger-two").outstanding, 1U);
  _KtFree(second);
}

TEST_F(LedgerTest, KnowsAModuleByItsCallsOnThreadsOfItsOwn) {
  ScriptedProvider module;
  module.Attach(database(), "foreign", ForeignModuleAddress());
  void* block = nullptr;
  KtPropset set = nullptr;
  std::thread([&] {
    block = ForeignModuleAlloc(8);
    set = ForeignModulePropset();
  }).join();
  EXPECT_EQ(Row("foreign", "blocks").outstanding, 1U);
  EXPECT_EQ(Row("foreign", "property sets").outstanding, 1U);
  void* const ours = _KtAlloc(8);
  EXPECT_EQ(Row("foreign", "blocks").outstanding, 1U);
  _KtFree(ours);
  _KtFree(block);
  PsDestroyPropset(set);
  EXPECT_EQ(Sum("foreign").outstanding, 0U);
  EXPECT_EQ(KtBusForgetModule(ForeignModuleAddress()), kOk);
  EXPECT_EQ(KtBusForgetModule(ForeignModuleAddress()), kNoObject);
}

TEST_F(LedgerTest, KnowsAModuleThatWasNamedBeforeItIsAttached) {
  ASSERT_EQ(KtBusNameModule("early", ForeignModuleAddress()), kOk);
  void* const block = ForeignModuleAlloc(8);
  EXPECT_EQ(Row("early", "blocks").outstanding, 1U);
  _KtFree(block);
  EXPECT_EQ(KtBusForgetModule(ForeignModuleAddress()), kOk);
  void* const later = ForeignModuleAlloc(8);
  EXPECT_EQ(Row("early", "blocks").outstanding, 0U);
  _KtFree(later);
  const int local = 0;
  EXPECT_EQ(KtBusNameModule("nowhere", &local), kNoObject);
}

TEST_F(LedgerTest, KeepsCountingWhatAProviderThatWentNeverGaveBack) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta-gone");
  KtPropset set = nullptr;
  AsProvider(beta, [&] { set = NewSet(); });
  Subscribe(beta, "a");
  ASSERT_EQ(KtBusDetachProvider(beta.handle()), kOk);
  EXPECT_EQ(Row("beta-gone", "property sets").outstanding, 1U);
  EXPECT_EQ(Row("beta-gone", "registrations").outstanding, 1U);
  PsDestroyPropset(set);
  EXPECT_EQ(Sum("beta-gone").outstanding, 1U);
  ForgetLedger();
}

TEST_F(LedgerTest, DoesNotCountWhatTheFrameworkLends) {
  const KtObjId object = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  const auto before = Sum().total;
  KtStatus answer = 0;
  EXPECT_EQ(KtBusSendControl(database(), &object, &kInterfaceA, 0, 1, nullptr, nullptr, &answer),
            kOk);
  EXPECT_EQ(Sum().total, before);
}

TEST_F(LedgerTest, AnUnknownProviderSumsToNothing) {
  const KtBusLedgerTotal total = Sum("never heard of");
  EXPECT_EQ(total.outstanding + total.total + total.wrongFrees + total.exceptions, 0U);
  EXPECT_EQ(total.size, sizeof(KtBusLedgerTotal));
}

TEST_F(LedgerTest, AVisitEndsWhenTheVisitorSaysSo) {
  int rows = 0;
  EXPECT_EQ(KtBusVisitLedger(
                [](const KtBusLedgerRow*, void* context) -> cuvo_bool {
                  ++*static_cast<int*>(context);
                  return 0;
                },
                &rows),
            kOk);
  EXPECT_EQ(rows, 1);
}

// ---- Wrong releases ----------------------------------------------------------------------------

class WrongFreeTest : public LedgerTest {
 protected:
  // The kind's wrong releases of the host since the last call.
  std::uint64_t New(const char* kind) {
    const std::uint64_t now = Row("", kind).wrongFrees;
    const std::uint64_t fresh = now - seen_[kind];
    seen_[kind] = now;
    return fresh;
  }
  void SetUp() override {
    LedgerTest::SetUp();
    for (const char* const kind : {"property sets", "records", "texts", "blocks", "iterators"}) {
      New(kind);
    }
  }

 private:
  std::map<std::string, std::uint64_t> seen_;
};

TEST_F(WrongFreeTest, AForeignPointerIsCountedTracedAndLeftAlone) {
  int local = 7;
  _KtFree(&local);
  EXPECT_EQ(New("blocks"), 1U);
  EXPECT_TRUE(HasTrace(6, "the host released"));
  EXPECT_TRUE(HasTrace(6, "wrong function _KtFree"));
  EXPECT_EQ(PsFreeProperty(reinterpret_cast<cuvo_property*>(&local)), kNoObject);
  EXPECT_EQ(New("blocks"), 1U);
  EXPECT_EQ(local, 7);
}

TEST_F(WrongFreeTest, ABlockFreedTwiceIsCountedOnceAsWrong) {
  void* const block = _KtAlloc(10);
  _KtFree(block);
  _KtFree(block);
  EXPECT_EQ(New("blocks"), 1U);
}

TEST_F(WrongFreeTest, OfTwoThreadsThatFreeABlockAtOnceOneMakesAMistake) {
  constexpr int kRounds = 500;
  const auto before = Row("", "blocks");
  for (int i = 0; i < kRounds; ++i) {
    void* const block = _KtAlloc(static_cast<std::size_t>(i) % 300);
    std::atomic<int> ready{0};
    const auto release = [&] {
      ++ready;
      while (ready != 2) std::this_thread::yield();
      _KtFree(block);
    };
    std::thread other(release);
    release();
    other.join();
  }
  EXPECT_EQ(New("blocks"), std::uint64_t{kRounds});
  EXPECT_EQ(Row("", "blocks").outstanding, before.outstanding);
}

TEST_F(WrongFreeTest, AnAddressBetweenBlocksIsForeign) {
  char* const block = static_cast<char*>(_KtAlloc(32));
  const auto begin = reinterpret_cast<std::uintptr_t>(block) & ~std::uintptr_t{0xFFFF};
  // No block begins at any of these, whatever stands around it.
  for (const std::uintptr_t offset : {1U, 8U, 24U, 40U}) {
    _KtFree(reinterpret_cast<void*>(begin + offset));
  }
  EXPECT_EQ(New("blocks"), 4U);
  _KtFree(block);
}

TEST_F(WrongFreeTest, APointerIntoABlockIsForeign) {
  char* const block = static_cast<char*>(_KtAlloc(64));
  _KtFree(block + 16);
  EXPECT_EQ(New("blocks"), 1U);
  _KtFree(block);
}

TEST_F(WrongFreeTest, ATextOrABlockGivenToPsFreePropertyIsLeftAlone) {
  char* const text = KtGUIDToString(&kInterfaceA);
  void* const block = _KtAlloc(sizeof(cuvo_property));
  EXPECT_EQ(PsFreeProperty(reinterpret_cast<cuvo_property*>(text)), kNoObject);
  EXPECT_EQ(New("texts"), 1U);
  EXPECT_EQ(PsFreeProperty(static_cast<cuvo_property*>(block)), kNoObject);
  EXPECT_EQ(New("blocks"), 1U);
  EXPECT_EQ(text[0], '{');
  _KtFree(text);
  _KtFree(block);
}

TEST_F(WrongFreeTest, HandlesGivenToTheWrongFunctionAreLeftAlone) {
  const KtPropset set = NewSet();
  KtIterator iterator = nullptr;
  ASSERT_EQ(PsOpenPropset(set, &iterator), kOk);
  _KtFree(set);
  EXPECT_EQ(New("property sets"), 1U);
  EXPECT_EQ(KtCloseHandle(set), kNoObject);
  EXPECT_EQ(New("property sets"), 1U);
  EXPECT_EQ(PsDestroyPropset(reinterpret_cast<KtPropset>(iterator)), kNoObject);
  EXPECT_EQ(New("iterators"), 1U);
  _KtFree(iterator);
  EXPECT_EQ(New("iterators"), 1U);
  EXPECT_EQ(KtCloseHandle(iterator), kOk);
  EXPECT_EQ(PsDestroyPropset(set), kOk);
}

TEST_F(WrongFreeTest, ARecordGivenToAHandleFunctionIsLeftAlone) {
  const KtPropset set = NewSet();
  AddUint32(set, "a", 1);
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set, "a", &found), kOk);
  EXPECT_EQ(KtCloseHandle(found), kNoObject);
  EXPECT_EQ(PsDestroyPropset(reinterpret_cast<KtPropset>(found)), kNoObject);
  EXPECT_EQ(New("records"), 2U);
  EXPECT_EQ(PsFreeProperty(found), kOk);
  EXPECT_EQ(PsDestroyPropset(set), kOk);
}

TEST_F(WrongFreeTest, ARecordReleasedWithKtFreeIsNoMistake) {
  const KtPropset set = NewSet();
  AddUint32(set, "a", 1);
  cuvo_property* found = nullptr;
  ASSERT_EQ(PsFindProperty(set, "a", &found), kOk);
  _KtFree(found);
  EXPECT_EQ(New("records") + New("blocks"), 0U);
  PsDestroyPropset(set);
}

TEST_F(WrongFreeTest, IsPutDownToTheProviderThatMadeTheMistake) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta-wrong");
  char* const text = KtGUIDToString(&kInterfaceA);
  AsProvider(beta, [&] { PsFreeProperty(reinterpret_cast<cuvo_property*>(text)); });
  EXPECT_EQ(Row("beta-wrong", "texts").wrongFrees, 1U);
  EXPECT_EQ(New("texts"), 0U);
  EXPECT_TRUE(HasTrace(6, "beta-wrong released"));
  _KtFree(text);
}

// ---- Visits ------------------------------------------------------------------------------------

class VisitTest : public BusTest {};

TEST_F(VisitTest, TypesShowSuperclassesInterfacesPropertiesAndCount) {
  const KtPropset properties = NewSet();
  AddText(properties, "VENDOR", "TORMELD");
  const std::array<const char*, 3> above{"qelm_ktvm_disk", "QELM_GenericGroup", nullptr};
  KtObjId id{};
  ASSERT_EQ(ObCreateTypeObject(database(), "t", above.data(), properties, &id), kOk);
  PsDestroyPropset(properties);
  ASSERT_EQ(ObRegisterInterfaceOnType(database(), "t", provider(), &kInterfaceA), kOk);
  NewObject("t");
  NewObject("t");

  struct Seen {
    std::vector<std::string> names;
    std::vector<std::string> superclasses;
    std::string vendor;
    std::string owner;
    std::uint64_t count = 0;
    KtObjId id{};
  } seen;
  EXPECT_EQ(KtBusVisitTypes(
                database(),
                [](const KtBusTypeInfo* info, void* context) -> cuvo_bool {
                  Seen& out = *static_cast<Seen*>(context);
                  EXPECT_EQ(info->size, sizeof(KtBusTypeInfo));
                  out.names.emplace_back(info->name);
                  if (out.names.back() != "t") return 1;
                  for (const auto* name = info->superclasses; *name != nullptr; ++name) {
                    out.superclasses.emplace_back(*name);
                  }
                  out.vendor = TextOf(Find(info->properties, "VENDOR"));
                  EXPECT_EQ(info->interfaceCount, 1U);
                  out.owner = info->interfaces[0].owner;
                  EXPECT_STREQ(info->interfaces[0].offeredBy, "t");
                  out.count = info->objectCount;
                  out.id = info->id;
                  return 1;
                },
                &seen),
            kOk);
  EXPECT_EQ(seen.names.front(), "QELM_Object");
  EXPECT_EQ(seen.names.back(), "t");
  EXPECT_THAT(seen.superclasses, testing::ElementsAre("qelm_ktvm_disk", "QELM_GenericGroup"));
  EXPECT_EQ(seen.vendor, "TORMELD");
  EXPECT_EQ(seen.owner, "alpha");
  EXPECT_EQ(seen.count, 2U);
  EXPECT_TRUE(SameId(seen.id, id));
}

TEST_F(VisitTest, ATypeWithoutSuperclassDerivesFromTheRoot) {
  KtObjId id{};
  ASSERT_EQ(ObCreateTypeObject(database(), "lonely", nullptr, nullptr, &id), kOk);
  const KtObjId object = NewObject("lonely");
  EXPECT_TRUE(SameIds(ObjectsOf("QELM_Object"), {object}));
}

TEST_F(VisitTest, ObjectsShowTypeOwnerFlagsAndEveryInterfaceTheyOffer) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  KtObjId object{};
  ASSERT_EQ(ObCreateObjectEx(database(), beta.handle(), "qelm_ktvm_disk", 2, nullptr, &object),
            kOk);
  ASSERT_EQ(ObRegisterInterface(database(), &object, beta.handle(), &kInterfaceB), kOk);
  ASSERT_EQ(ObRegisterInterfaceOnType(database(), "qelm_ktvm", provider(), &kInterfaceA), kOk);
  KtBusDetachProvider(beta.handle());

  struct Seen {
    int calls = 0;
    std::string type;
    std::string owner;
    std::uint32_t flags = 0;
    std::vector<std::string> interfaces;
  } seen;
  const auto visitor = [](const KtBusObjectInfo* info, void* context) -> cuvo_bool {
    Seen& out = *static_cast<Seen*>(context);
    ++out.calls;
    out.type = info->type;
    out.owner = info->owner;
    out.flags = info->flags;
    out.interfaces.clear();
    for (std::size_t i = 0; i < info->interfaceCount; ++i) {
      const KtBusInterfaceInfo& one = info->interfaces[i];
      out.interfaces.push_back(std::string(one.owner) + "/" + one.offeredBy + "/" +
                               (one.ownerGone != 0 ? "gone" : "there"));
    }
    return 1;
  };
  EXPECT_EQ(KtBusVisitObjects(database(), nullptr, visitor, &seen), kOk);
  EXPECT_EQ(KtBusVisitObjects(database(), "qelm_ktvm", visitor, &seen), kOk);
  EXPECT_EQ(KtBusVisitObject(database(), &object, visitor, &seen), kOk);
  EXPECT_EQ(KtBusVisitObjects(database(), "qelm_ktvm_volume", visitor, &seen), kOk);
  EXPECT_EQ(KtBusVisitObjects(database(), "missing", visitor, &seen), kUnknownType);
  EXPECT_EQ(seen.calls, 3);
  EXPECT_EQ(seen.type, "qelm_ktvm_disk");
  EXPECT_EQ(seen.owner, "beta");
  EXPECT_EQ(seen.flags, 2U);
  EXPECT_THAT(seen.interfaces, testing::ElementsAre("beta//gone", "alpha/qelm_ktvm/there"));
}

TEST_F(VisitTest, AVisitorMayChangeWhatItVisits) {
  for (int i = 0; i < 5; ++i) NewObject("qelm_ktvm");
  struct Context {
    KtProvider provider;
    KtDatabase database;
    int calls;
  } context{provider(), database(), 0};
  EXPECT_EQ(KtBusVisitObjects(
                database(), "qelm_ktvm",
                [](const KtBusObjectInfo* info, void* raw) -> cuvo_bool {
                  Context& own = *static_cast<Context*>(raw);
                  ++own.calls;
                  EXPECT_EQ(ObDeleteObject(own.database, &info->id), kOk);
                  KtObjId made{};
                  EXPECT_EQ(ObCreateObject(own.database, own.provider, "qelm_ktvm", &made), kOk);
                  return 1;
                },
                &context),
            kOk);
  EXPECT_EQ(context.calls, 5);
  EXPECT_EQ(ObjectsOf("qelm_ktvm").size(), 5U);
}

TEST_F(VisitTest, AVisitorSeesWhatWasThereWhenTheVisitBeganWhateverItDeletes) {
  struct Context {
    KtDatabase database;
    std::vector<KtObjId> made;
    std::vector<KtObjId> seen;
  } context{database(), {}, {}};
  for (int i = 0; i < 5; ++i) context.made.push_back(NewObject("qelm_ktvm"));
  EXPECT_EQ(KtBusVisitObjects(
                database(), "qelm_ktvm",
                [](const KtBusObjectInfo* info, void* raw) -> cuvo_bool {
                  Context& own = *static_cast<Context*>(raw);
                  if (own.seen.empty()) {
                    for (const KtObjId& id : own.made) {
                      EXPECT_EQ(ObDeleteObject(own.database, &id), kOk);
                    }
                  }
                  own.seen.push_back(info->id);
                  return 1;
                },
                &context),
            kOk);
  EXPECT_TRUE(SameIds(context.seen, context.made));
  EXPECT_TRUE(ObjectsOf("qelm_ktvm").empty());
}

TEST_F(VisitTest, ProvidersAndSubscriptionsAreListed) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  const KtCookie event = Subscribe(beta, "a.*");
  KtCookie alert = 0;
  ASSERT_EQ(ObRegisterAlert(database(), provider(), "event.alert", &alert), kOk);
  Raise("a.b");
  Raise("a.c");
  Deliver();
  const KtObjId object = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  KtStatus answer = 0;
  KtBusSendControl(database(), &object, &kInterfaceA, 0, 1, nullptr, nullptr, &answer);

  std::vector<std::string> providers;
  EXPECT_EQ(KtBusVisitProviders(
                database(),
                [](const KtBusProviderInfo* info, void* context) -> cuvo_bool {
                  static_cast<std::vector<std::string>*>(context)->push_back(
                      std::string(info->name) + " controls " + std::to_string(info->controls) +
                      " delivered " + std::to_string(info->noticesDelivered) + " waiting " +
                      std::to_string(info->noticesWaiting) + " in flight " +
                      std::to_string(info->callsInFlight) + " subscriptions " +
                      std::to_string(info->subscriptions));
                  return 1;
                },
                &providers),
            kOk);
  EXPECT_THAT(providers, testing::ElementsAre(
                             "alpha controls 1 delivered 0 waiting 0 in flight 0 subscriptions 1",
                             "beta controls 0 delivered 2 waiting 0 in flight 0 subscriptions 1"));

  std::vector<std::string> subscriptions;
  EXPECT_EQ(KtBusVisitSubscriptions(
                database(),
                [](const KtBusSubscriptionInfo* info, void* context) -> cuvo_bool {
                  static_cast<std::vector<std::string>*>(context)->push_back(
                      std::string(info->provider) + " " + info->name +
                      (info->isAlert != 0 ? " alert" : " event"));
                  return 1;
                },
                &subscriptions),
            kOk);
  EXPECT_THAT(subscriptions, testing::ElementsAre("beta a.* event", "alpha event.alert alert"));
  EvUnregisterEvent(database(), event);
  ObUnregisterAlert(database(), alert);
}

// Counts, and ends the visit with its second call.
template <typename Info>
cuvo_bool EndAtTheSecond(const Info* /*info*/, void* count) {
  return ++*static_cast<int*>(count) < 2 ? 1 : 0;
}

TEST_F(VisitTest, OfTypesEndsWhenTheVisitorSaysSo) {
  int seen = 0;
  EXPECT_EQ(KtBusVisitTypes(database(), &EndAtTheSecond<KtBusTypeInfo>, &seen), kOk);
  EXPECT_EQ(seen, 2);
}

TEST_F(VisitTest, OfSubscriptionsEndsWhenTheVisitorSaysSo) {
  std::vector<KtCookie> cookies;
  for (const char* const name : {"a", "b", "c"}) cookies.push_back(Subscribe(alpha(), name));
  int seen = 0;
  EXPECT_EQ(KtBusVisitSubscriptions(database(), &EndAtTheSecond<KtBusSubscriptionInfo>, &seen),
            kOk);
  EXPECT_EQ(seen, 2);
  for (const KtCookie cookie : cookies) EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
}

TEST_F(VisitTest, OfObjectsEndsWhenTheVisitorSaysSo) {
  for (int i = 0; i < 3; ++i) NewObject("qelm_ktvm");
  int seen = 0;
  EXPECT_EQ(KtBusVisitObjects(database(), "qelm_ktvm", &EndAtTheSecond<KtBusObjectInfo>, &seen),
            kOk);
  EXPECT_EQ(seen, 2);
}

}  // namespace
}  // namespace bus_test
