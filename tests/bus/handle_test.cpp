// Handles that are null, stale, of another kind or plain addresses: a status from every function
// that takes one.
#include <bit>
#include <string>
#include <utility>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

// One call with a handle in one place and everything else in order.
template <typename Handle>
struct Case {
  const char* name;
  std::function<KtStatus(Handle)> call;
};

class HandleTest : public BusTest {
 protected:
  void SetUp() override {
    BusTest::SetUp();
    set_ = NewSet();
    AddUint32(set_, "a", 1);
    EXPECT_EQ(PsOpenPropset(set_, &iterator_), kOk);
    object_ = NewObject();
    child_ = NewObject();
    record_ = Record("new", TYPE_UINT32, 4, &value_);
  }
  void TearDown() override {
    KtCloseHandle(iterator_);
    PsDestroyPropset(set_);
    BusTest::TearDown();
  }

  // Everything that is a handle of no kind, or of a kind other than the wanted one.
  template <typename Handle>
  std::vector<std::pair<std::string, Handle>> WrongHandles(Handle right, Handle stale) {
    const auto bits = std::bit_cast<std::uint64_t>(right);
    std::vector<std::pair<std::string, Handle>> wrong{
        {"null", nullptr},
        {"stale", stale},
        {"the address of a local", std::bit_cast<Handle>(&bits)},
        {"small number", std::bit_cast<Handle>(std::uint64_t{1})},
        {"all ones", std::bit_cast<Handle>(~std::uint64_t{0})},
        {"a later generation", std::bit_cast<Handle>(bits + (std::uint64_t{1} << 24U))},
        {"a far slot", std::bit_cast<Handle>(bits | 0xFFFFFFU)},
        {"another tag", std::bit_cast<Handle>(bits ^ (std::uint64_t{1} << 60U))},
    };
    const std::vector<void*> others{database(), provider(), set_, iterator_};
    for (void* const other : others) {
      if (other != static_cast<void*>(right)) {
        wrong.emplace_back("a handle of another kind", std::bit_cast<Handle>(other));
      }
    }
    return wrong;
  }

  template <typename Handle>
  void ExpectAllRefuse(const std::vector<Case<Handle>>& cases, Handle right, Handle stale) {
    for (const auto& [what, handle] : WrongHandles(right, stale)) {
      for (const Case<Handle>& one : cases) {
        EXPECT_EQ(one.call(handle), kNoObject) << one.name << " with " << what;
      }
    }
  }

  KtPropset set_ = nullptr;
  KtIterator iterator_ = nullptr;
  KtObjId object_{};
  KtObjId child_{};
  const std::uint32_t value_ = 1;
  cuvo_property record_{};
  cuvo_property* found_ = nullptr;
  KtPropset out_set_ = nullptr;
  KtIterator out_iterator_ = nullptr;
  KtObjId out_id_{};
  KtObjId* out_list_ = nullptr;
  std::uint32_t out_count_ = 0;
  char* out_text_ = nullptr;
  KtCookie out_cookie_ = 0;
  KtProvider out_provider_ = nullptr;
  KtStatus out_status_ = 0;
  KtWchar* out_wide_ = nullptr;
  std::uint64_t out_number_ = 0;
  const KtAlertDefinition alert_{"x.alert", "", 1, 0};
};

TEST_F(HandleTest, EveryFunctionRefusesAPropertySetThatIsNone) {
  const std::vector<Case<KtPropset>> cases{
      {"PsDestroyPropset", [&](KtPropset h) { return PsDestroyPropset(h); }},
      {"PsCopyPropset", [&](KtPropset h) { return PsCopyPropset(h, &out_set_); }},
      {"PsAddProperty", [&](KtPropset h) { return PsAddProperty(h, &record_); }},
      {"PsSetProperty", [&](KtPropset h) { return PsSetProperty(h, &record_); }},
      {"PsFindProperty", [&](KtPropset h) { return PsFindProperty(h, "a", &found_); }},
      {"PsOpenPropset", [&](KtPropset h) { return PsOpenPropset(h, &out_iterator_); }},
      {"PsFindNextProperty",
       [&](KtPropset h) { return PsFindNextProperty(h, iterator_, &found_); }},
      {"I18nAddInsertionString", [&](KtPropset h) { return I18nAddInsertionString(h, 1, "x"); }},
      {"I18nAddInsertionWideString",
       [&](KtPropset h) { return I18nAddInsertionWideString(h, 1, KT_W("x")); }},
  };
  const KtPropset stale = NewSet();
  PsDestroyPropset(stale);
  ExpectAllRefuse(cases, set_, stale);
  EXPECT_EQ(ValueOf<std::uint32_t>(Find(set_, "a")), 1U);
}

TEST_F(HandleTest, FunctionsThatTakeAPropertySetOrNullRefuseWhatIsNone) {
  const KtPropset stale = NewSet();
  PsDestroyPropset(stale);
  ASSERT_EQ(ObPublishAlert(database(), provider(), &alert_), kOk);
  const std::vector<Case<KtPropset>> cases{
      {"ObCreateTypeObject",
       [&](KtPropset h) { return ObCreateTypeObject(database(), "t", nullptr, h, &out_id_); }},
      {"ObCreateTypeObjectEx",
       [&](KtPropset h) {
         return ObCreateTypeObjectEx(database(), "t", nullptr, h, 1, 0, &out_id_);
       }},
      {"EvRaiseEvent", [&](KtPropset h) { return EvRaiseEvent(database(), provider(), "e", h); }},
      {"KtBusRaiseEvent", [&](KtPropset h) { return KtBusRaiseEvent(database(), "e", h); }},
      {"ObRaiseAlert",
       [&](KtPropset h) { return ObRaiseAlert(database(), provider(), "x.alert", h, nullptr); }},
  };
  for (const auto& [what, handle] : WrongHandles(set_, stale)) {
    if (handle == nullptr) continue;
    for (const auto& one : cases)
      EXPECT_EQ(one.call(handle), kNoObject) << one.name << ": " << what;
  }
}

TEST_F(HandleTest, AControlRefusesPropertySetsThatAreNone) {
  ASSERT_EQ(ObRegisterInterface(database(), &object_, provider(), &kInterfaceA), kOk);
  const KtPropset stale = NewSet();
  PsDestroyPropset(stale);
  EXPECT_EQ(
      KtBusSendControl(database(), &object_, &kInterfaceA, 0, 1, stale, nullptr, &out_status_),
      kNoObject);
  EXPECT_EQ(
      KtBusSendControl(database(), &object_, &kInterfaceA, 0, 1, nullptr, stale, &out_status_),
      kNoObject);
}

TEST_F(HandleTest, EveryFunctionRefusesAnIteratorThatIsNone) {
  const std::vector<Case<KtIterator>> cases{
      {"KtCloseHandle", [&](KtIterator h) { return KtCloseHandle(h); }},
      {"PsFindNextProperty", [&](KtIterator h) { return PsFindNextProperty(set_, h, &found_); }},
  };
  KtIterator stale = nullptr;
  ASSERT_EQ(PsOpenPropset(set_, &stale), kOk);
  KtCloseHandle(stale);
  ExpectAllRefuse(cases, iterator_, stale);
}

TEST_F(HandleTest, EveryFunctionRefusesADatabaseThatIsNone) {
  static constexpr auto kType = [](const KtBusTypeInfo*, void*) -> cuvo_bool { return 1; };
  static constexpr auto kObject = [](const KtBusObjectInfo*, void*) -> cuvo_bool { return 1; };
  static constexpr auto kProvider = [](const KtBusProviderInfo*, void*) -> cuvo_bool { return 1; };
  static constexpr auto kSubscription = [](const KtBusSubscriptionInfo*, void*) -> cuvo_bool {
    return 1;
  };
  const KtCookie cookie = Subscribe(alpha(), "e");
  const std::vector<Case<KtDatabase>> cases{
      {"DbGetObjects",
       [&](KtDatabase h) { return DbGetObjects(h, "QELM_Object", &out_list_, &out_count_); }},
      {"ObCreateTypeObject",
       [&](KtDatabase h) { return ObCreateTypeObject(h, "t", nullptr, nullptr, &out_id_); }},
      {"ObCreateTypeObjectEx",
       [&](KtDatabase h) {
         return ObCreateTypeObjectEx(h, "t", nullptr, nullptr, 1, 0, &out_id_);
       }},
      {"ObRegisterInterfaceOnType",
       [&](KtDatabase h) {
         return ObRegisterInterfaceOnType(h, "qelm_ktvm", provider(), &kInterfaceA);
       }},
      {"ObCreateObject",
       [&](KtDatabase h) { return ObCreateObject(h, provider(), "qelm_ktvm", &out_id_); }},
      {"ObCreateObjectEx",
       [&](KtDatabase h) {
         return ObCreateObjectEx(h, provider(), "qelm_ktvm", 1, nullptr, &out_id_);
       }},
      {"ObDeleteObject", [&](KtDatabase h) { return ObDeleteObject(h, &object_); }},
      {"ObGetProperty", [&](KtDatabase h) { return ObGetProperty(h, &object_, "a", &found_); }},
      {"ObSetProperty", [&](KtDatabase h) { return ObSetProperty(h, &object_, &record_); }},
      {"ObGetProperties", [&](KtDatabase h) { return ObGetProperties(h, &object_, &out_set_); }},
      {"ObGetObjectType", [&](KtDatabase h) { return ObGetObjectType(h, &object_, &out_text_); }},
      {"ObGetChildObjects",
       [&](KtDatabase h) { return ObGetChildObjects(h, &object_, &out_list_, &out_count_); }},
      {"ObRegisterInterface",
       [&](KtDatabase h) { return ObRegisterInterface(h, &object_, provider(), &kInterfaceA); }},
      {"ObAttachChildObject",
       [&](KtDatabase h) { return ObAttachChildObject(h, &object_, &child_); }},
      {"ObDetachChildObject",
       [&](KtDatabase h) { return ObDetachChildObject(h, &object_, &child_); }},
      {"EvRegisterEvent",
       [&](KtDatabase h) { return EvRegisterEvent(h, provider(), "e", &out_cookie_); }},
      {"EvUnregisterEvent", [&](KtDatabase h) { return EvUnregisterEvent(h, cookie); }},
      {"ObRegisterAlert",
       [&](KtDatabase h) { return ObRegisterAlert(h, provider(), "event.alert", &out_cookie_); }},
      {"ObUnregisterAlert", [&](KtDatabase h) { return ObUnregisterAlert(h, cookie); }},
      {"ObPublishAlert", [&](KtDatabase h) { return ObPublishAlert(h, provider(), &alert_); }},
      {"ObUnpublishAlert",
       [&](KtDatabase h) { return ObUnpublishAlert(h, provider(), "x.alert"); }},
      {"ObRaiseAlert",
       [&](KtDatabase h) { return ObRaiseAlert(h, provider(), "x.alert", nullptr, nullptr); }},
      {"EvRaiseEvent", [&](KtDatabase h) { return EvRaiseEvent(h, provider(), "e", nullptr); }},
      {"KtBusRaiseEvent", [&](KtDatabase h) { return KtBusRaiseEvent(h, "e", nullptr); }},
      {"KtBusCloseDatabase", [&](KtDatabase h) { return KtBusCloseDatabase(h); }},
      {"KtBusAttachProvider",
       [&](KtDatabase h) {
         return KtBusAttachProvider(h, "beta", &alpha().table(), nullptr, &out_provider_);
       }},
      {"KtBusSendControl",
       [&](KtDatabase h) {
         return KtBusSendControl(h, &object_, &kInterfaceA, 0, 1, nullptr, nullptr, &out_status_);
       }},
      {"KtBusWaitForDelivery", [&](KtDatabase h) { return KtBusWaitForDelivery(h, 0); }},
      {"KtBusVisitTypes", [&](KtDatabase h) { return KtBusVisitTypes(h, kType, nullptr); }},
      {"KtBusVisitObjects",
       [&](KtDatabase h) { return KtBusVisitObjects(h, nullptr, kObject, nullptr); }},
      {"KtBusVisitObject",
       [&](KtDatabase h) { return KtBusVisitObject(h, &object_, kObject, nullptr); }},
      {"KtBusVisitProviders",
       [&](KtDatabase h) { return KtBusVisitProviders(h, kProvider, nullptr); }},
      {"KtBusVisitSubscriptions",
       [&](KtDatabase h) { return KtBusVisitSubscriptions(h, kSubscription, nullptr); }},
  };
  KtDatabase stale = nullptr;
  ASSERT_EQ(KtBusOpenDatabase(&stale), kOk);
  ASSERT_EQ(KtBusCloseDatabase(stale), kOk);
  ExpectAllRefuse(cases, database(), stale);
  for (const auto& [what, handle] : WrongHandles(database(), stale)) {
    EXPECT_EQ(EvMatch(handle, "a", "a"), 0) << what;
  }
  EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
}

TEST_F(HandleTest, EveryFunctionRefusesAProviderThatIsNone) {
  const std::vector<Case<KtProvider>> cases{
      {"DbLockDatabase", [&](KtProvider h) { return DbLockDatabase(h); }},
      {"DbUnlockDatabase", [&](KtProvider h) { return DbUnlockDatabase(h); }},
      {"ObRegisterInterfaceOnType",
       [&](KtProvider h) {
         return ObRegisterInterfaceOnType(database(), "qelm_ktvm", h, &kInterfaceA);
       }},
      {"ObCreateObject",
       [&](KtProvider h) { return ObCreateObject(database(), h, "qelm_ktvm", &out_id_); }},
      {"ObCreateObjectEx",
       [&](KtProvider h) {
         return ObCreateObjectEx(database(), h, "qelm_ktvm", 1, nullptr, &out_id_);
       }},
      {"ObRegisterInterface",
       [&](KtProvider h) { return ObRegisterInterface(database(), &object_, h, &kInterfaceA); }},
      {"EvRegisterEvent",
       [&](KtProvider h) { return EvRegisterEvent(database(), h, "e", &out_cookie_); }},
      {"ObRegisterAlert",
       [&](KtProvider h) { return ObRegisterAlert(database(), h, "event.alert", &out_cookie_); }},
      {"ObPublishAlert", [&](KtProvider h) { return ObPublishAlert(database(), h, &alert_); }},
      {"ObUnpublishAlert",
       [&](KtProvider h) { return ObUnpublishAlert(database(), h, "x.alert"); }},
      {"ObRaiseAlert",
       [&](KtProvider h) { return ObRaiseAlert(database(), h, "x.alert", nullptr, nullptr); }},
      {"EvRaiseEvent", [&](KtProvider h) { return EvRaiseEvent(database(), h, "e", nullptr); }},
      {"KtBusDetachProvider", [&](KtProvider h) { return KtBusDetachProvider(h); }},
      {"KtBusInitializeProvider", [&](KtProvider h) { return KtBusInitializeProvider(h); }},
      {"KtBusShutdownProvider", [&](KtProvider h) { return KtBusShutdownProvider(h, 0); }},
      {"KtBusProviderVersion", [&](KtProvider h) { return KtBusProviderVersion(h, &out_wide_); }},
      {"KtBusProviderGetAttr", [&](KtProvider h) { return KtBusProviderGetAttr(h, 0, 0, 0, 0); }},
      {"KtBusProviderExceptions",
       [&](KtProvider h) { return KtBusProviderExceptions(h, &out_number_); }},
  };
  ScriptedProvider gone;
  const KtProvider stale = gone.Attach(database(), "gone");
  ASSERT_EQ(KtBusDetachProvider(stale), kOk);
  ExpectAllRefuse(cases, provider(), stale);
}

TEST_F(HandleTest, AProviderOfAnotherDatabaseIsForeign) {
  KtDatabase other = nullptr;
  ASSERT_EQ(KtBusOpenDatabase(&other), kOk);
  EXPECT_EQ(ObCreateObject(other, provider(), "QELM_Object", &out_id_), kNoObject);
  EXPECT_EQ(EvRegisterEvent(other, provider(), "e", &out_cookie_), kNoObject);
  EXPECT_EQ(ObDeleteObject(other, &object_), kNoObject);
  EXPECT_EQ(KtBusCloseDatabase(other), kOk);
}

TEST_F(HandleTest, AReusedSlotGivesAHandleThatTheOldOneIsNot) {
  const KtPropset first = NewSet();
  PsDestroyPropset(first);
  std::vector<KtPropset> sets;
  for (int i = 0; i < 100; ++i) {
    sets.push_back(NewSet());
    EXPECT_NE(sets.back(), first);
  }
  EXPECT_EQ(PsAddProperty(first, &record_), kNoObject);
  for (const KtPropset set : sets) EXPECT_EQ(PsDestroyPropset(set), kOk);
}

TEST_F(HandleTest, EveryFunctionRefusesAnObjectThatIsNone) {
  KtObjId deleted = NewObject();
  ASSERT_EQ(ObDeleteObject(database(), &deleted), kOk);
  static constexpr auto kObject = [](const KtBusObjectInfo*, void*) -> cuvo_bool { return 1; };
  using Call = std::pair<const char*, std::function<KtStatus(const KtObjId*)>>;
  const std::vector<Call> calls{
      {"ObDeleteObject", [&](const KtObjId* id) { return ObDeleteObject(database(), id); }},
      {"ObGetProperty",
       [&](const KtObjId* id) { return ObGetProperty(database(), id, "a", &found_); }},
      {"ObSetProperty", [&](const KtObjId* id) { return ObSetProperty(database(), id, &record_); }},
      {"ObGetProperties",
       [&](const KtObjId* id) { return ObGetProperties(database(), id, &out_set_); }},
      {"ObGetObjectType",
       [&](const KtObjId* id) { return ObGetObjectType(database(), id, &out_text_); }},
      {"ObGetChildObjects",
       [&](const KtObjId* id) {
         return ObGetChildObjects(database(), id, &out_list_, &out_count_);
       }},
      {"ObRegisterInterface",
       [&](const KtObjId* id) {
         return ObRegisterInterface(database(), id, provider(), &kInterfaceA);
       }},
      {"ObAttachChildObject as parent",
       [&](const KtObjId* id) { return ObAttachChildObject(database(), id, &child_); }},
      {"ObAttachChildObject as child",
       [&](const KtObjId* id) { return ObAttachChildObject(database(), &object_, id); }},
      {"ObDetachChildObject as parent",
       [&](const KtObjId* id) { return ObDetachChildObject(database(), id, &child_); }},
      {"ObDetachChildObject as child",
       [&](const KtObjId* id) { return ObDetachChildObject(database(), &object_, id); }},
      {"KtBusSendControl",
       [&](const KtObjId* id) {
         return KtBusSendControl(database(), id, &kInterfaceA, 0, 1, nullptr, nullptr,
                                 &out_status_);
       }},
      {"KtBusVisitObject",
       [&](const KtObjId* id) { return KtBusVisitObject(database(), id, kObject, nullptr); }},
  };
  const KtObjId zero{};
  const KtObjId unknown{kInterfaceB};
  for (const auto& [name, call] : calls) {
    EXPECT_EQ(call(&deleted), kNoObject) << name;
    EXPECT_EQ(call(&zero), kNoObject) << name;
    EXPECT_EQ(call(&unknown), kNoObject) << name;
    EXPECT_EQ(call(nullptr), kInvalid) << name;
  }
}

TEST_F(HandleTest, EveryFunctionRefusesANullPointerWhereOneIsNeeded) {
  const KtDatabase db = database();
  const KtProvider me = provider();
  const std::vector<std::pair<const char*, KtStatus>> answers{
      {"DbGetObjects name", DbGetObjects(db, nullptr, &out_list_, &out_count_)},
      {"DbGetObjects list", DbGetObjects(db, "QELM_Object", nullptr, &out_count_)},
      {"DbGetObjects count", DbGetObjects(db, "QELM_Object", &out_list_, nullptr)},
      {"ObCreateTypeObject name", ObCreateTypeObject(db, nullptr, nullptr, nullptr, &out_id_)},
      {"ObCreateTypeObject out", ObCreateTypeObject(db, "t", nullptr, nullptr, nullptr)},
      {"ObCreateTypeObjectEx name",
       ObCreateTypeObjectEx(db, nullptr, nullptr, nullptr, 1, 0, &out_id_)},
      {"ObCreateTypeObjectEx out", ObCreateTypeObjectEx(db, "t", nullptr, nullptr, 1, 0, nullptr)},
      {"ObRegisterInterfaceOnType name", ObRegisterInterfaceOnType(db, nullptr, me, &kInterfaceA)},
      {"ObRegisterInterfaceOnType id", ObRegisterInterfaceOnType(db, "qelm_ktvm", me, nullptr)},
      {"ObCreateObject name", ObCreateObject(db, me, nullptr, &out_id_)},
      {"ObCreateObject out", ObCreateObject(db, me, "QELM_Object", nullptr)},
      {"ObCreateObjectEx name", ObCreateObjectEx(db, me, nullptr, 1, nullptr, &out_id_)},
      {"ObCreateObjectEx out", ObCreateObjectEx(db, me, "QELM_Object", 1, nullptr, nullptr)},
      {"ObGetProperty name", ObGetProperty(db, &object_, nullptr, &found_)},
      {"ObGetProperty out", ObGetProperty(db, &object_, "a", nullptr)},
      {"ObSetProperty record", ObSetProperty(db, &object_, nullptr)},
      {"ObGetProperties out", ObGetProperties(db, &object_, nullptr)},
      {"ObGetObjectType out", ObGetObjectType(db, &object_, nullptr)},
      {"ObGetChildObjects list", ObGetChildObjects(db, &object_, nullptr, &out_count_)},
      {"ObGetChildObjects count", ObGetChildObjects(db, &object_, &out_list_, nullptr)},
      {"ObRegisterInterface id", ObRegisterInterface(db, &object_, me, nullptr)},
      {"EvRegisterEvent name", EvRegisterEvent(db, me, nullptr, &out_cookie_)},
      {"EvRegisterEvent empty name", EvRegisterEvent(db, me, "", &out_cookie_)},
      {"EvRegisterEvent out", EvRegisterEvent(db, me, "e", nullptr)},
      {"ObRegisterAlert name", ObRegisterAlert(db, me, nullptr, &out_cookie_)},
      {"ObRegisterAlert out", ObRegisterAlert(db, me, "e", nullptr)},
      {"ObPublishAlert definition", ObPublishAlert(db, me, nullptr)},
      {"ObUnpublishAlert name", ObUnpublishAlert(db, me, nullptr)},
      {"ObRaiseAlert name", ObRaiseAlert(db, me, nullptr, nullptr, nullptr)},
      {"EvRaiseEvent name", EvRaiseEvent(db, me, nullptr, nullptr)},
      {"KtBusOpenDatabase", KtBusOpenDatabase(nullptr)},
      {"KtBusAttachProvider name",
       KtBusAttachProvider(db, nullptr, &alpha().table(), nullptr, &out_provider_)},
      {"KtBusAttachProvider table", KtBusAttachProvider(db, "b", nullptr, nullptr, &out_provider_)},
      {"KtBusAttachProvider out", KtBusAttachProvider(db, "b", &alpha().table(), nullptr, nullptr)},
      {"KtBusProviderVersion", KtBusProviderVersion(me, nullptr)},
      {"KtBusProviderExceptions", KtBusProviderExceptions(me, nullptr)},
      {"KtBusSendControl interface",
       KtBusSendControl(db, &object_, nullptr, 0, 0, nullptr, nullptr, &out_status_)},
      {"KtBusSendControl status",
       KtBusSendControl(db, &object_, &kInterfaceA, 0, 0, nullptr, nullptr, nullptr)},
      {"KtBusRaiseEvent", KtBusRaiseEvent(db, nullptr, nullptr)},
      {"KtBusVisitTypes", KtBusVisitTypes(db, nullptr, nullptr)},
      {"KtBusVisitObjects", KtBusVisitObjects(db, nullptr, nullptr, nullptr)},
      {"KtBusVisitObject", KtBusVisitObject(db, &object_, nullptr, nullptr)},
      {"KtBusVisitProviders", KtBusVisitProviders(db, nullptr, nullptr)},
      {"KtBusVisitSubscriptions", KtBusVisitSubscriptions(db, nullptr, nullptr)},
      {"KtBusVisitLedger", KtBusVisitLedger(nullptr, nullptr)},
      {"KtBusLedgerSum", KtBusLedgerSum(nullptr, nullptr)},
      {"KtBusNameModule name", KtBusNameModule(nullptr, &object_)},
      {"KtBusNameModule address", KtBusNameModule("x", nullptr)},
      {"KtBusForgetModule", KtBusForgetModule(nullptr)},
  };
  for (const auto& [name, status] : answers) EXPECT_EQ(status, kInvalid) << name;
}

}  // namespace
}  // namespace bus_test
