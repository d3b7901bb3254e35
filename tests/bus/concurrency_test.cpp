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
  std::atomic<bool> stop{false};
  std::thread visitor([&] {
    while (!stop) {
      KtBusVisitTypes(
          database(), [](const KtBusTypeInfo*, void*) -> cuvo_bool { return 1; }, nullptr);
      KtBusVisitObjects(
          database(), nullptr, [](const KtBusObjectInfo*, void*) -> cuvo_bool { return 1; },
          nullptr);
      KtBusVisitProviders(
          database(), [](const KtBusProviderInfo*, void*) -> cuvo_bool { return 1; }, nullptr);
      KtBusVisitSubscriptions(
          database(), [](const KtBusSubscriptionInfo*, void*) -> cuvo_bool { return 1; }, nullptr);
      KtBusVisitLedger([](const KtBusLedgerRow*, void*) -> cuvo_bool { return 1; }, nullptr);
    }
  });
  OnThreads(4, [&](int t) {
    for (int i = 0; i < 100; ++i) {
      const KtObjId id = NewObject("qelm_ktvm_disk");
      ObRegisterInterface(database(), &id, provider(), &kInterfaceA);
      KtObjId type{};
      ObCreateTypeObject(database(), ("t" + std::to_string(t * 1000 + i)).c_str(), nullptr, nullptr,
                         &type);
      const KtCookie cookie = Subscribe(alpha(), "a");
      Raise("a");
      EvUnregisterEvent(database(), cookie);
      ObDeleteObject(database(), &id);
    }
  });
  stop = true;
  visitor.join();
  Deliver();
}

}  // namespace
}  // namespace bus_test
