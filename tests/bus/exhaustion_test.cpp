// What is left of a call for which there is no memory: its status, and nothing else.
//
// The framework's sources are linked into this program, so that its operator new is theirs. Each
// test makes one call again and again, the first time with its first allocation failing, then with
// its second, until it needs no more: that last one must go as if nothing had been.
#include <atomic>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bus/bus_test.h"
#include "bus/small_blocks.h"
#include "support/failing_new.h"

namespace bus_test {
namespace {

namespace small_blocks = kt::bus::small_blocks;

constexpr KtStatus kOutOfMemory = 0x8007000E;

// A call that needs a new slab of small blocks succeeds without one. So that each allocation that
// fails is seen to fail its call, there are no slabs, but in the tests about them.
class ExhaustionTest : public BusTest {
 protected:
  // A trace line for which there is no memory is lost, which is as it should be, but would count
  // as a failed allocation here.
  void SetUp() override {
    BusTest::SetUp();
    KtSetTraceLevel(7);
  }

  // Makes the call until it needs no more memory than there is; how often it failed.
  template <typename Call>
  static int StarveIfItCan(const Call& call) {
    int after = 0;
    for (;; ++after) {
      const auto before = Sum();
      KtStatus status = kOk;
      {
        const support::FailAllocation failure(after);
        status = call();
      }
      if (status == kOk) break;
      EXPECT_LT(after, 10'000) << "it never succeeds";
      EXPECT_EQ(status, kOutOfMemory) << "allocation " << after;
      EXPECT_EQ(Sum().outstanding, before.outstanding) << "allocation " << after;
      if (HasFailure()) break;
    }
    return after;
  }

  // It must fail at least once.
  template <typename Call>
  static void Starve(const Call& call) {
    EXPECT_GT(StarveIfItCan(call), 0) << "it asked for no memory";
  }

  // Makes sets until one more needs memory: there is room left of those that were destroyed.
  static std::vector<KtPropset> SetsThatThereIsRoomFor() {
    std::vector<KtPropset> sets;
    for (;;) {
      KtPropset set = nullptr;
      {
        const support::FailAllocation failure(0);
        if (PsCreatePropset(&set) != kOk) break;
      }
      sets.push_back(set);
    }
    return sets;
  }

 private:
  const support::RefuseAligned no_slabs_;
};

TEST_F(ExhaustionTest, OpeningADatabaseLeavesNothing) {
  KtDatabase opened = nullptr;
  Starve([&] { return KtBusOpenDatabase(&opened); });
  EXPECT_EQ(KtBusCloseDatabase(opened), kOk);
}

TEST_F(ExhaustionTest, AttachingAProviderLeavesItsNameFreeAndNoHandle) {
  const KtProviderTable table{};
  KtProvider attached = nullptr;
  // An address of this program, which no provider of these tests has been named for.
  static const int here = 0;
  Starve([&] {
    KtProvider out = nullptr;
    const KtStatus status = KtBusAttachProvider(database(), "starved", &table, &here, &out);
    if (status == kOk) {
      attached = out;
    } else if (out != nullptr) {
      return KtStatus{1};
    }
    return status;
  });
  EXPECT_EQ(KtBusDetachProvider(attached), kOk);
  EXPECT_EQ(KtBusForgetModule(&here), kOk);
}

TEST_F(ExhaustionTest, DetachingAProviderNeedsNoMemory) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  Subscribe(beta, "a");
  KtStatus status = kOutOfMemory;
  {
    const support::FailAllocation failure(0);
    status = KtBusDetachProvider(beta.handle());
  }
  EXPECT_EQ(status, kOk);
  ForgetLedger();
}

TEST_F(ExhaustionTest, MakingPropertySetsLeavesNone) {
  const std::vector<KtPropset> sets = SetsThatThereIsRoomFor();
  KtPropset set = nullptr;
  KtPropset copy = nullptr;
  Starve([&] { return PsCreatePropset(&set); });
  ASSERT_EQ(AddText(set, "name", "a text that is too long to stand in a string itself"), kOk);
  Starve([&] { return PsCopyPropset(set, &copy); });
  EXPECT_EQ(TextOf(Find(copy, "name")), "a text that is too long to stand in a string itself");
  PsDestroyPropset(set);
  PsDestroyPropset(copy);
  for (const KtPropset each : sets) EXPECT_EQ(PsDestroyPropset(each), kOk);
}

TEST_F(ExhaustionTest, AddingAPropertyLeavesTheSetAsItWas) {
  const KtPropset set = NewSet();
  int failures = 0;
  for (std::uint32_t i = 0; i < 200; ++i) {  // until what looks for names among many has grown
    const std::string name = "a name that takes some of the memory of the set " + std::to_string(i);
    failures += StarveIfItCan([&] { return AddUint32(set, name.c_str(), i); });
    EXPECT_EQ(ValueOf<std::uint32_t>(Find(set, name.c_str())), i);
  }
  EXPECT_GT(failures, 5);
  PsDestroyPropset(set);
}

TEST_F(ExhaustionTest, SettingAPropertyLeavesTheOldValue) {
  const KtPropset set = NewSet();
  ASSERT_EQ(AddText(set, "name", "old"), kOk);
  const std::string text(1000, 'n');
  const cuvo_property record = Record("name", TYPE_STR, 1001, text.c_str());
  bool kept = true;
  Starve([&] {
    const KtStatus status = PsSetProperty(set, &record);
    cuvo_property* found = nullptr;
    if (status != kOk && PsFindProperty(set, "name", &found) == kOk) {
      kept = kept && std::strcmp(static_cast<const char*>(found->value), "old") == 0;
      PsFreeProperty(found);
    }
    return status;
  });
  EXPECT_TRUE(kept);
  EXPECT_EQ(TextOf(Find(set, "name")), text);
  PsDestroyPropset(set);
}

TEST_F(ExhaustionTest, FindingAPropertyThatCarriesSetsLeavesNone) {
  const KtPropset nested = NewSet();
  const KtPropset set = NewSet();
  ASSERT_EQ(AddText(nested, "name", "a text that is too long to stand in a string itself"), kOk);
  ASSERT_EQ(AddSet(set, "nested", nested), kOk);
  cuvo_property* found = nullptr;
  Starve([&] { return PsFindProperty(set, "nested", &found); });
  PsFreeProperty(found);
  PsDestroyPropset(nested);
  PsDestroyPropset(set);
}

TEST_F(ExhaustionTest, EnumeratingLeavesNothing) {
  const KtPropset nested = NewSet();
  const KtPropset set = NewSet();
  ASSERT_EQ(AddUint32(nested, "inside", 1), kOk);
  ASSERT_EQ(AddSet(set, "nested", nested), kOk);
  KtIterator iterator = nullptr;
  Starve([&] { return PsOpenPropset(set, &iterator); });
  cuvo_property* found = nullptr;
  KtStatus status = kOk;
  {
    const support::FailAllocation failure(0);
    status = PsFindNextProperty(set, iterator, &found);
  }
  EXPECT_EQ(status, kOutOfMemory);
  EXPECT_EQ(found, nullptr);
  ASSERT_EQ(PsFindNextProperty(set, iterator, &found), kOk) << "the property is not passed over";
  EXPECT_STREQ(found->name, "nested");
  PsFreeProperty(found);
  EXPECT_EQ(KtCloseHandle(iterator), kOk);
  PsDestroyPropset(nested);
  PsDestroyPropset(set);
}

TEST_F(ExhaustionTest, CreatingATypeLeavesItsNameFree) {
  const char* const above[] = {"qelm_ktvm", nullptr};
  KtObjId type{};
  Starve([&] {
    return ObCreateTypeObject(database(), "a type whose name needs memory of its own", above,
                              nullptr, &type);
  });
  EXPECT_THAT(ObjectsOf("a type whose name needs memory of its own"), testing::IsEmpty());
}

TEST_F(ExhaustionTest, CreatingAnObjectLeavesNone) {
  KtObjId object{};
  Starve([&] { return ObCreateObject(database(), provider(), "qelm_ktvm", &object); });
  EXPECT_TRUE(SameIds(ObjectsOf("qelm_ktvm"), {object}));
}

TEST_F(ExhaustionTest, WritingAndReadingTheObjectsPropertiesLeavesNothing) {
  const KtObjId object = NewObject();
  const std::string text(100, 't');
  const cuvo_property record = Record("name", TYPE_STR, 101, text.c_str());
  Starve([&] { return ObSetProperty(database(), &object, &record); });
  KtPropset set = nullptr;
  Starve([&] { return ObGetProperties(database(), &object, &set); });
  EXPECT_EQ(TextOf(Find(set, "name")), text);
  PsDestroyPropset(set);
}

TEST_F(ExhaustionTest, WritingManyPropertiesOfAnObjectLeavesTheOthersAsTheyWere) {
  const KtObjId object = NewObject();
  for (std::uint32_t i = 0; i < 40; ++i) {  // beyond the number that stand side by side
    const std::string name = "name " + std::to_string(i);
    const cuvo_property record = Record(name.c_str(), TYPE_UINT32, 4, &i);
    KtStatus status = kOutOfMemory;
    for (int after = 0; status != kOk; ++after) {
      {
        const support::FailAllocation failure(after);
        status = ObSetProperty(database(), &object, &record);
      }
      for (std::uint32_t j = 0; j < i; ++j) {
        cuvo_property* found = nullptr;
        ASSERT_EQ(ObGetProperty(database(), &object, ("name " + std::to_string(j)).c_str(), &found),
                  kOk);
        ASSERT_EQ(ValueOf<std::uint32_t>(Found(found)), j);
      }
    }
  }
}

TEST_F(ExhaustionTest, CreatingManyObjectsListsThoseThatWereMade) {
  std::vector<KtObjId> made;
  int refused = 0;
  for (int i = 0; i < 2'000; ++i) {
    KtObjId object{};
    const support::FailAllocation failure(i % 4);
    if (ObCreateObject(database(), provider(), "qelm_ktvm", &object) == kOk) {
      const support::SpareAllocations spare;
      made.push_back(object);
    } else {
      ++refused;
    }
  }
  EXPECT_GT(refused, 5);
  EXPECT_EQ(ObjectsOf("qelm_ktvm").size(), made.size());
  EXPECT_TRUE(SameIds(ObjectsOf("qelm_ktvm"), made));
}

TEST_F(ExhaustionTest, DeletingAnObjectNeedsNoMemory) {
  std::vector<KtObjId> objects;
  for (int i = 0; i < 500; ++i) objects.push_back(NewObject("qelm_ktvm"));
  for (const KtObjId& object : objects) {
    const support::FailAllocation failure(0);
    ASSERT_EQ(ObDeleteObject(database(), &object), kOk);
  }
  EXPECT_THAT(ObjectsOf("qelm_ktvm"), testing::IsEmpty());
}

TEST_F(ExhaustionTest, AttachingAChildLeavesNoHalfOfTheRelation) {
  const KtObjId parent = NewObject();
  const KtObjId child = NewObject();
  Starve([&] { return ObAttachChildObject(database(), &parent, &child); });
  EXPECT_TRUE(SameIds(ChildrenOf(parent), {child}));
  EXPECT_EQ(ObDetachChildObject(database(), &parent, &child), kOk);
}

TEST_F(ExhaustionTest, ListingLeavesNoBlock) {
  const KtObjId parent = NewObject("qelm_ktvm");
  const KtObjId child = NewObject("qelm_ktvm");
  ASSERT_EQ(ObAttachChildObject(database(), &parent, &child), kOk);
  KtObjId* list = nullptr;
  std::uint32_t count = 0;
  Starve([&] { return DbGetObjects(database(), "qelm_ktvm", &list, &count); });
  EXPECT_EQ(count, 2U);
  _KtFree(list);
  Starve([&] { return ObGetChildObjects(database(), &parent, &list, &count); });
  EXPECT_EQ(count, 1U);
  _KtFree(list);
}

TEST_F(ExhaustionTest, RegisteringAnInterfaceLeavesNone) {
  const KtObjId object = NewObject();
  Starve([&] { return ObRegisterInterface(database(), &object, provider(), &kInterfaceA); });
  Starve(
      [&] { return ObRegisterInterfaceOnType(database(), "qelm_ktvm", provider(), &kInterfaceA); });
}

TEST_F(ExhaustionTest, SubscribingLeavesNoRegistration) {
  for (const char* const name : {"event.with.a.name.that.needs.memory.of.its.own",
                                 "event.*.pattern.that.needs.memory.of.its.own"}) {
    KtCookie cookie = 0;
    Starve([&] { return EvRegisterEvent(database(), provider(), name, &cookie); });
    EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
    Starve([&] { return ObRegisterAlert(database(), provider(), name, &cookie); });
    EXPECT_EQ(ObUnregisterAlert(database(), cookie), kOk);
  }
}

TEST_F(ExhaustionTest, AnEventReachesAllThatWaitForItOrNone) {
  ScriptedProvider beta;
  beta.Attach(database(), "beta");
  Notices to_alpha;
  Notices to_beta;
  alpha().notify = to_alpha.Recorder();
  beta.notify = to_beta.Recorder();
  const KtCookie first = Subscribe(alpha(), "a");
  const KtCookie second = Subscribe(beta, "a");
  Starve([&] { return EvRaiseEvent(database(), provider(), "a", nullptr); });
  Deliver();
  EXPECT_THAT(to_alpha.names(), testing::ElementsAre("a"));
  EXPECT_THAT(to_beta.names(), testing::ElementsAre("a"));
  EXPECT_EQ(EvUnregisterEvent(database(), first), kOk);
  EXPECT_EQ(EvUnregisterEvent(database(), second), kOk);
}

TEST_F(ExhaustionTest, PublishingAndRaisingAnAlertLeavesNothing) {
  const KtAlertDefinition alert{"an alert whose name needs memory of its own", "so does this text",
                                1, 0};
  Starve([&] { return ObPublishAlert(database(), provider(), &alert); });
  Notices notices;
  alpha().notify = notices.Recorder();
  KtCookie cookie = 0;
  ASSERT_EQ(ObRegisterAlert(database(), provider(), alert.name, &cookie), kOk);
  Starve([&] { return ObRaiseAlert(database(), provider(), alert.name, nullptr, nullptr); });
  Deliver();
  EXPECT_EQ(notices.size(), 1U);
  EXPECT_EQ(ObUnregisterAlert(database(), cookie), kOk);
}

TEST_F(ExhaustionTest, SendingAControlAsksTheProviderOnceOrNotAtAll) {
  const KtObjId object = NewObject();
  ASSERT_EQ(ObRegisterInterface(database(), &object, provider(), &kInterfaceA), kOk);
  int asked = 0;
  alpha().control = [&](const ScriptedProvider::ControlCall&) {
    ++asked;
    return kOk;
  };
  const std::vector<KtPropset> sets = SetsThatThereIsRoomFor();
  KtStatus answer = 0;
  Starve([&] {  // for the empty sets that the provider gets in place of null
    return KtBusSendControl(database(), &object, &kInterfaceA, 0, 1, nullptr, nullptr, &answer);
  });
  EXPECT_EQ(asked, 1);
  for (const KtPropset set : sets) EXPECT_EQ(PsDestroyPropset(set), kOk);
}

TEST_F(ExhaustionTest, ANoticeThatCannotBeHandedOverIsLostAndTraced) {
  Notices notices;
  auto remember = notices.Recorder();
  alpha().notify = [&](const KtEventRecord& record) {
    const KtStatus status = remember(record);
    // The next allocation of this thread fails.
    if (std::string_view(record.name) == "first") support::Resume(0);
    return status;
  };
  KtSetTraceLevel(6);
  const KtCookie cookie = Subscribe(alpha(), "*");
  const KtPropset carried = NewSet();  // a copy of it needs memory
  ASSERT_EQ(AddUint32(carried, "what", 1), kOk);
  Raise("first");
  Raise("second", carried);
  Deliver();
  Raise("third");
  Deliver();
  EXPECT_THAT(notices.names(), testing::ElementsAre("first", "third"));
  EXPECT_TRUE(HasTrace(6, "notice second for provider alpha is lost, 0x8007000e"));
  EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
  PsDestroyPropset(carried);
}

// ---- The observer ----------------------------------------------------------------------------

class StarvedObserver : public ExhaustionTest {
 protected:
  void SetUp() override {
    ExhaustionTest::SetUp();
    ASSERT_EQ(KtBusObserve(database(), &Count, this), kOk);
  }
  void TearDown() override {
    EXPECT_EQ(KtBusObserve(database(), nullptr, nullptr), kOk);
    ExhaustionTest::TearDown();
  }

  std::atomic<std::uint64_t> told_{0};
  std::atomic<std::uint64_t> lost_{0};
  std::atomic<std::uint64_t> starve_at_{0};  // after that one, the thread's next allocation fails

 private:
  static void Count(const KtBusObservation* observation, void* context) {
    auto& self = *static_cast<StarvedObserver*>(context);
    if (observation->what == KTBUS_OBSERVED_LOST) {
      self.lost_ += observation->lost;
    } else if (++self.told_ == self.starve_at_) {
      support::Resume(0);
    }
  }
};

TEST_F(StarvedObserver, IsToldHowMuchCouldNotBePutTogetherForIt) {
  // An allocation that fails once the object is there does not take it back: the telling is lost.
  const char* const type = "a type whose name needs memory of its own";
  const char* const above[] = {"qelm_ktvm", nullptr};
  KtObjId id{};
  ASSERT_EQ(ObCreateTypeObject(database(), type, above, nullptr, &id), kOk);
  Deliver();
  told_ = 0;
  std::uint64_t made = 0;
  bool failed = true;
  for (int after = 0; failed; ++after) {
    KtObjId object{};
    const support::FailAllocation failure(after);
    if (ObCreateObject(database(), provider(), type, &object) == kOk) ++made;
    failed = failure.Happened();
  }
  Deliver();
  EXPECT_GT(made, 1U) << "none was made without memory for the telling";
  while (told_ + lost_ < made) std::this_thread::yield();
  EXPECT_EQ(told_ + lost_, made);
  EXPECT_GT(lost_, 0U);
}

TEST_F(StarvedObserver, IsToldOfALossOfItsOwnBeforeTheNext) {
  starve_at_ = 1;
  const KtPropset properties = NewSet();
  ASSERT_EQ(AddUint32(properties, "lent to the observer", 1), kOk);
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(EvRaiseEvent(database(), provider(), "observed", properties), kOk);
  }
  Deliver();
  PsDestroyPropset(properties);
  while (told_ + lost_ < 3) std::this_thread::yield();
  EXPECT_EQ(told_, 2U);
  EXPECT_EQ(lost_, 1U);
}

TEST_F(ExhaustionTest, MemoryAndTextsAreNull) {
  // Every block is entered in a table, whose growth is what fails: enough of them to make it grow.
  std::vector<void*> blocks;
  int refused = 0;
  for (int i = 0; i < 5000; ++i) {
    void* block = nullptr;
    {
      const support::FailAllocation failure(0);
      block = _KtAlloc(8);
    }
    if (block == nullptr) {
      ++refused;
      block = _KtAlloc(8);
    }
    ASSERT_NE(block, nullptr);
    blocks.push_back(block);
  }
  EXPECT_GT(refused, 0);
  EXPECT_EQ(Row("", "blocks").outstanding, blocks.size());
  for (void* const block : blocks) _KtFree(block);
  EXPECT_EQ(Row("", "blocks").outstanding, 0U);

  const support::FailAllocation failure(0);
  EXPECT_EQ(KtGUIDToString(&kInterfaceA), nullptr);
}

// ---- Slabs of small blocks -------------------------------------------------------------------

class SlabExhaustionTest : public BusTest {
 protected:
  // More than a slab holds, several times.
  static constexpr std::size_t kMany = 5000;

  void TearDown() override {
    for (void* const block : blocks_) _KtFree(block);
    EXPECT_EQ(Row("", "blocks").outstanding, 0U);
    EXPECT_EQ(Row("", "texts").outstanding, 0U);
    BusTest::TearDown();
  }

  // Keeps what the call gives, until it has given that much or null; how much it gave. What the
  // call is refused, the list that keeps it is not.
  template <typename Call>
  std::size_t Collect(const Call& call, std::size_t most = kMany) {
    blocks_.reserve(blocks_.size() + most);
    std::size_t count = 0;
    for (void* block = call(); block != nullptr; block = count < most ? call() : nullptr) {
      blocks_.push_back(block);
      ++count;
    }
    return count;
  }

  std::vector<void*> blocks_;
};

TEST_F(SlabExhaustionTest, EachSlabThatCannotBeHadIsMadeUpForElsewhere) {
  std::size_t failures = 0;
  const std::size_t count = Collect([&] {
    // Nothing is allocated but slabs, until one fails, and then what takes its place.
    const support::FailAllocation failure(0);
    void* const block = _KtAlloc(200);
    if (failure.Happened()) ++failures;
    return block;
  });
  if (small_blocks::kThereAreAny) {
    EXPECT_EQ(count, kMany);
    EXPECT_GT(failures, 0U);
  }
  EXPECT_EQ(Row("", "blocks").outstanding, count);
}

TEST_F(SlabExhaustionTest, WhileOnlySlabsCanBeHadBlocksAndTextsComeFromThem) {
  blocks_.reserve(2 * kMany);
  const support::RefuseUnaligned only_slabs;
  EXPECT_EQ(Collect([] { return _KtAlloc(100); }), small_blocks::kThereAreAny ? kMany : 0U);
  EXPECT_EQ(Collect([] { return KtGUIDToString(&kInterfaceA); }),
            small_blocks::kThereAreAny ? kMany : 0U);
}

TEST_F(SlabExhaustionTest, WithoutAnyMemoryWhatIsFreeRunsOutAndWhatComesBackServesAgain) {
  constexpr std::size_t kAsMuchAsThereIs = 1'000'000;
  blocks_.push_back(_KtAlloc(100));
  blocks_.reserve(kAsMuchAsThereIs + 1);
  const support::RefuseAligned no_slabs;
  const support::RefuseUnaligned nothing_else;
  EXPECT_LT(Collect([] { return _KtAlloc(100); }, kAsMuchAsThereIs - 1), kAsMuchAsThereIs - 1);
  EXPECT_EQ(_KtAlloc(100), nullptr);
  _KtFree(blocks_.front());
  blocks_.front() = _KtAlloc(100);
  EXPECT_EQ(blocks_.front() != nullptr, small_blocks::kThereAreAny);
}

}  // namespace
}  // namespace bus_test
