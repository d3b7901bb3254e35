// Many threads at once: nothing is lost, nothing is delivered to who does not want it, nothing
// crashes.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus_test.h"

namespace bus_test {
namespace {

// Runs the work on that many threads, each with its number, and waits for all.
template <typename Work>
void OnThreads(int count, const Work& work) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int t = 0; t < count; ++t) threads.emplace_back([&work, t] { work(t); });
  for (std::thread& thread : threads) thread.join();
}

using ConcurrencyTest = BusTest;

TEST_F(ConcurrencyTest, EventsAreRaisedWhileSubscriptionsComeAndGo) {
  std::atomic<std::uint64_t> notices{0};
  alpha().notify = [&](const KtEventRecord& record) {
    EXPECT_EQ(std::string(record.name).substr(0, 2), "n.");
    ++notices;
    return kOk;
  };
  const KtCookie lasting = Subscribe(alpha(), "n.all");
  OnThreads(8, [&](int t) {
    for (int i = 0; i < 200; ++i) {
      if (t % 2 == 0) {
        EXPECT_EQ(Raise(i % 2 == 0 ? "n.all" : "n.some"), kOk);
      } else {
        const KtCookie cookie = Subscribe(alpha(), i % 2 == 0 ? "n.some" : "n.*");
        EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
      }
    }
  });
  Deliver();
  EXPECT_GE(notices, 400U);
  EXPECT_LE(notices, 800U);
  EXPECT_EQ(EvUnregisterEvent(database(), lasting), kOk);
}

TEST_F(ConcurrencyTest, ControlsAreSentWhileObjectsComeAndGo) {
  std::atomic<int> served{0};
  alpha().control = [&](const ScriptedProvider::ControlCall& call) {
    EXPECT_EQ(AddUint32(call.output, "x", 1), kOk);
    ++served;
    return kOk;
  };
  const KtObjId lasting = NewObject("qelm_ktvm");
  ASSERT_EQ(ObRegisterInterface(database(), &lasting, provider(), &kInterfaceA), kOk);
  OnThreads(8, [&](int t) {
    for (int i = 0; i < 150; ++i) {
      if (t % 2 == 0) {
        for (const KtObjId& id : ObjectsOf("qelm_ktvm")) {
          KtStatus answer = 1;
          const KtStatus status =
              KtBusSendControl(database(), &id, &kInterfaceA, 0, 1, nullptr, nullptr, &answer);
          EXPECT_TRUE((status == kOk && answer == kOk) || status == KTBUS_NO_OBJECT ||
                      status == KTBUS_INTERFACE_NOT_OFFERED);
        }
      } else {
        const KtObjId id = NewObject(i % 2 == 0 ? "qelm_ktvm_disk" : "qelm_ktvm_volume");
        EXPECT_EQ(ObRegisterInterface(database(), &id, provider(), &kInterfaceA), kOk);
        EXPECT_EQ(ObAttachChildObject(database(), &lasting, &id), kOk);
        const std::uint32_t value = static_cast<std::uint32_t>(i);
        const cuvo_property record = Record("State", TYPE_UINT32, 4, &value);
        EXPECT_EQ(ObSetProperty(database(), &id, &record), kOk);
        ChildrenOf(lasting);
        EXPECT_EQ(ObDeleteObject(database(), &id), kOk);
      }
    }
  });
  EXPECT_GE(served, 600);
  EXPECT_TRUE(SameIds(ObjectsOf("qelm_ktvm"), {lasting}));
  EXPECT_THAT(ChildrenOf(lasting), testing::IsEmpty());
}

TEST_F(ConcurrencyTest, ProvidersGoWhileControlsAndEventsRun) {
  for (int round = 0; round < 20; ++round) {
    ScriptedProvider beta;
    std::atomic<bool> gone{false};
    std::atomic<bool> called_after{false};
    const auto touch = [&] {
      if (gone) called_after = true;
    };
    beta.control = [&](const ScriptedProvider::ControlCall&) {
      touch();
      return kOk;
    };
    beta.notify = [&](const KtEventRecord&) {
      touch();
      return kOk;
    };
    beta.Attach(database(), "beta");
    const KtObjId object = NewObject();
    ASSERT_EQ(ObRegisterInterface(database(), &object, beta.handle(), &kInterfaceA), kOk);
    Subscribe(beta, "n");
    std::atomic<bool> stop{false};
    std::thread detacher([&] {
      EXPECT_EQ(KtBusDetachProvider(beta.handle()), kOk);
      gone = true;
      stop = true;
    });
    OnThreads(3, [&](int) {
      while (!stop) {
        KtStatus answer = 0;
        const KtStatus status =
            KtBusSendControl(database(), &object, &kInterfaceA, 0, 1, nullptr, nullptr, &answer);
        EXPECT_TRUE(status == kOk || status == KTBUS_PROVIDER_GONE);
        Raise("n");
      }
    });
    detacher.join();
    Deliver();
    EXPECT_FALSE(called_after);
  }
  ForgetLedger();
}

TEST_F(ConcurrencyTest, RelationsStayWithoutCirclesWhoeverAttachesWhat) {
  std::vector<KtObjId> ids;
  for (int i = 0; i < 12; ++i) ids.push_back(NewObject());
  OnThreads(8, [&](int t) {
    for (std::size_t i = 0; i < 300; ++i) {
      const KtObjId& parent = ids[(i * 7 + static_cast<std::size_t>(t)) % ids.size()];
      const KtObjId& child = ids[(i * 5 + 3 * static_cast<std::size_t>(t)) % ids.size()];
      const KtStatus status = i % 3 == 2 ? ObDetachChildObject(database(), &parent, &child)
                                         : ObAttachChildObject(database(), &parent, &child);
      EXPECT_TRUE(status == kOk || status == kInvalid);
    }
  });
  // Walking down from every object comes to an end within as many levels as there are objects.
  for (const KtObjId& start : ids) {
    std::vector<KtObjId> level{start};
    std::size_t levels = 0;
    while (!level.empty() && levels <= ids.size()) {
      std::vector<KtObjId> below;
      for (const KtObjId& id : level) {
        for (const KtObjId& child : ChildrenOf(id)) {
          if (std::none_of(below.begin(), below.end(),
                           [&](const KtObjId& other) { return SameId(other, child); })) {
            below.push_back(child);
          }
        }
      }
      level = below;
      ++levels;
    }
    EXPECT_LE(levels, ids.size());
  }
}

TEST_F(ConcurrencyTest, OneTypeIsMadeByOneThreadOnly) {
  std::atomic<int> made{0};
  OnThreads(8, [&](int) {
    for (int i = 0; i < 50; ++i) {
      KtObjId id{};
      const std::string name = "type" + std::to_string(i);
      const KtStatus status = ObCreateTypeObject(database(), name.c_str(), nullptr, nullptr, &id);
      EXPECT_TRUE(status == kOk || status == kTypeExists);
      if (status == kOk) ++made;
      ObRegisterInterfaceOnType(database(), name.c_str(), provider(), &kInterfaceA);
    }
  });
  EXPECT_EQ(made, 50);
}

TEST_F(ConcurrencyTest, VisitsRunWhileEverythingChanges) {
  const KtObjId lasting = NewObject("qelm_ktvm_disk");
  const KtCookie always = Subscribe(alpha(), "always");
  std::atomic<bool> stop{false};
  int rounds = 0;
  std::thread visitor([&] {
    // What lasts is in every picture; what comes and goes may be.
    struct Seen {
      const KtObjId& lasting;
      KtCookie always;
      int types = 0;
      int objects = 0;
      int providers = 0;
      int subscriptions = 0;
      int rows = 0;
    };
    do {
      Seen seen{lasting, always};
      EXPECT_EQ(KtBusVisitTypes(
                    database(),
                    [](const KtBusTypeInfo* info, void* context) -> cuvo_bool {
                      if (std::string(info->name) == "qelm_ktvm_disk") {
                        ++static_cast<Seen*>(context)->types;
                      }
                      return 1;
                    },
                    &seen),
                kOk);
      EXPECT_EQ(KtBusVisitObjects(
                    database(), nullptr,
                    [](const KtBusObjectInfo* info, void* context) -> cuvo_bool {
                      Seen& now = *static_cast<Seen*>(context);
                      if (SameId(info->id, now.lasting)) ++now.objects;
                      EXPECT_EQ(std::string(info->type), "qelm_ktvm_disk");
                      EXPECT_EQ(std::string(info->owner), "alpha");
                      return 1;
                    },
                    &seen),
                kOk);
      EXPECT_EQ(KtBusVisitProviders(
                    database(),
                    [](const KtBusProviderInfo* info, void* context) -> cuvo_bool {
                      EXPECT_EQ(std::string(info->name), "alpha");
                      ++static_cast<Seen*>(context)->providers;
                      return 1;
                    },
                    &seen),
                kOk);
      EXPECT_EQ(KtBusVisitSubscriptions(
                    database(),
                    [](const KtBusSubscriptionInfo* info, void* context) -> cuvo_bool {
                      Seen& now = *static_cast<Seen*>(context);
                      if (info->cookie == now.always) ++now.subscriptions;
                      return 1;
                    },
                    &seen),
                kOk);
      EXPECT_EQ(KtBusVisitLedger(
                    [](const KtBusLedgerRow*, void* context) -> cuvo_bool {
                      ++static_cast<Seen*>(context)->rows;
                      return 1;
                    },
                    &seen),
                kOk);
      EXPECT_EQ(seen.types, 1);
      EXPECT_EQ(seen.objects, 1);
      EXPECT_EQ(seen.providers, 1);
      EXPECT_EQ(seen.subscriptions, 1);
      EXPECT_GE(seen.rows, 1);
      ++rounds;
    } while (!stop);
  });
  OnThreads(4, [&](int t) {
    for (int i = 0; i < 100; ++i) {
      const KtObjId id = NewObject("qelm_ktvm_disk");
      EXPECT_EQ(ObRegisterInterface(database(), &id, provider(), &kInterfaceA), kOk);
      KtObjId type{};
      EXPECT_EQ(ObCreateTypeObject(database(), ("t" + std::to_string(t * 1000 + i)).c_str(),
                                   nullptr, nullptr, &type),
                kOk);
      const KtCookie cookie = Subscribe(alpha(), "a");
      EXPECT_EQ(Raise("a"), kOk);
      EXPECT_EQ(EvUnregisterEvent(database(), cookie), kOk);
      EXPECT_EQ(ObDeleteObject(database(), &id), kOk);
    }
  });
  stop = true;
  visitor.join();
  EXPECT_GE(rounds, 1);
  Deliver();
  EXPECT_EQ(EvUnregisterEvent(database(), always), kOk);
  EXPECT_TRUE(SameIds(ObjectsOf("qelm_ktvm_disk"), {lasting}));
}

// ---- One property set ------------------------------------------------------------------------

// A text of one letter, many times: torn apart by two calls at once it would hold two letters, or
// be of another length than it says.
std::string Letters(char letter, std::size_t count) {
  return std::string(count, letter);
}

TEST_F(ConcurrencyTest, SettingAndEnumeratingOneSetExcludeEachOther) {
  const KtPropset set = NewSet();
  ASSERT_EQ(AddText(set, "first", "a"), kOk);
  ASSERT_EQ(AddText(set, "second", "a"), kOk);
  OnThreads(4, [&](int t) {
    for (int i = 0; i < 300; ++i) {
      if (t % 2 == 0) {
        const char letter = static_cast<char>('a' + (i + t) % 26);
        const std::string text = Letters(letter, static_cast<std::size_t>(1 + i % 40));
        for (const char* const name : {"first", "second"}) {
          const cuvo_property record =
              Record(name, TYPE_STR, static_cast<std::uint32_t>(text.size() + 1), text.c_str());
          const KtStatus status = PsSetProperty(set, &record);
          EXPECT_TRUE(status == kOk || status == kUnchanged);
        }
        continue;
      }
      KtIterator iterator = nullptr;
      ASSERT_EQ(PsOpenPropset(set, &iterator), kOk);
      std::vector<std::string> names;
      cuvo_property* next = nullptr;
      while (PsFindNextProperty(set, iterator, &next) == kOk) {
        const Found found(next);
        names.emplace_back(found->name);
        const std::string text = TextOf(found);
        EXPECT_EQ(text.size() + 1, found->length);
        EXPECT_EQ(text, Letters(text.front(), text.size()));
      }
      EXPECT_EQ(KtCloseHandle(iterator), kOk);
      EXPECT_THAT(names, testing::ElementsAre("first", "second"));
    }
  });
  PsDestroyPropset(set);
}

}  // namespace
}  // namespace bus_test
