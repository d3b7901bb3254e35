// Deferred deletion: 64 wrappers queued, one flush. What it is made of is measured beside it: the
// deletion of the 64 objects on the bus, which is part of queuing a wrapper.
#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <vector>

#include "base/module.h"
#include "bench/support/operation.h"
#include "bench/support/timing.h"
#include "dispatch/activity_scope.h"
#include "ktbus3/ktbus3_host.h"
#include "lifetime/custom_object_container.h"
#include "objmodel/object.h"

namespace kt::bench {
namespace {

constexpr std::size_t kWrappers = 64;
constexpr const char* kType = "qelm_ktvm_disk";

constexpr std::array kNameText{std::to_array(KT_W("wrapper"))};
// What a wrapper's SetName() leaves on the bus.
const cuvo_property kName{
    "Name", TYPE_WSTR, 0, sizeof(kNameText), 0, const_cast<KtWchar*>(kNameText.data())};

// A provider's own wrapper, which says that it has gone.
class Wrapper : public CKtObject {
 public:
  explicit Wrapper(std::size_t& alive) : alive_(alive) { ++alive_; }
  ~Wrapper() override { --alive_; }

 private:
  std::size_t& alive_;
};

// The toolkit is part of this program, and its bus is this one.
class Provider {
 public:
  Provider() {
    const KtProviderTable table{};
    if (KtBusOpenDatabase(&database_) != 0 ||
        KtBusAttachProvider(database_, "bench", &table, nullptr, &provider_) != 0) {
      throw std::runtime_error("no bus");
    }
    kt::SetHandles(database_, provider_);
  }
  ~Provider() {
    CKtCustomObjectContainer::ReleaseInstance();
    KtBusCloseDatabase(database_);
  }
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  static Provider& Get() {
    static Provider provider;
    return provider;
  }

  // Those that are on the bus.
  [[nodiscard]] std::uint32_t Objects() const {
    KtObjId* list = nullptr;
    std::uint32_t count = ~0U;
    if (DbGetObjects(database_, kType, &list, &count) != 0) return ~0U;
    _KtFree(list);
    return count;
  }

 private:
  KtDatabase database_ = nullptr;
  KtProvider provider_ = nullptr;
};

class Deferred {
 public:
  static constexpr std::size_t kBatch = kWrappers;
  Deferred() { Provider::Get(); }

  bool Works() {
    RunTimed();
    return alive_ == 0 && seen_ == kWrappers && Provider::Get().Objects() == 0;
  }
  void Begin() { level_ = KtSetTraceLevel(7); }
  void End() { KtSetTraceLevel(level_); }

  double RunTimed() {
    std::array<CKtObject*, kWrappers> wrappers{};
    auto& container = CKtCustomObjectContainer::Instance();
    for (CKtObject*& wrapper : wrappers) {
      auto made = std::make_unique<Wrapper>(alive_);
      made->Create(kType, 0);
      made->SetName(kNameText.data());  // without a name the object stays
      wrapper = made.get();
      container.Add(std::move(made));
    }
    const Timing timing;
    {
      const CKtActivityScope scope;
      for (CKtObject* const wrapper : wrappers) wrapper->LazyDelete();
      seen_ = alive_;
    }
    return timing.Seconds();
  }

 private:
  std::size_t alive_ = 0;
  std::size_t seen_ = 0;  // wrappers that were there until the flush
  std::uint32_t level_ = 0;
};

// The same objects without wrappers: with a name each, and nothing else.
class BusAlone {
 public:
  static constexpr std::size_t kBatch = kWrappers;
  BusAlone() { Provider::Get(); }

  bool Works() {
    RunTimed();
    return failures_ == 0 && Provider::Get().Objects() == 0;
  }
  double RunTimed() {
    std::array<KtObjId, kWrappers> ids{};
    for (KtObjId& id : ids) {
      if (ObCreateObject(kt::DatabaseHandle(), kt::ProviderHandle(), kType, &id) != 0 ||
          ObSetProperty(kt::DatabaseHandle(), &id, &kName) != 0) {
        ++failures_;
      }
    }
    const Timing timing;
    for (const KtObjId& id : ids) {
      if (ObDeleteObject(kt::DatabaseHandle(), &id) != 0) ++failures_;
    }
    return timing.Seconds();
  }

 private:
  std::size_t failures_ = 0;
};

// New and delete of as many things of the same size.
class Floor {
 public:
  static constexpr std::size_t kBatch = kWrappers;

  bool Works() {
    RunTimed();
    return alive_ == 0;
  }
  double RunTimed() {
    const Timing timing;
    std::array<std::unique_ptr<Wrapper>, kWrappers> things{};
    for (auto& thing : things) thing = std::make_unique<Wrapper>(alive_);
    benchmark::DoNotOptimize(things.data());
    for (auto& thing : things) thing.reset();
    return timing.Seconds();
  }

 private:
  std::size_t alive_ = 0;
};

const bool entered = Add<Deferred>("deferred/64/kt", kCounted) &&
                     Add<BusAlone>("deferred/64/bus-alone", {}) &&
                     Add<Floor>("deferred/64/floor", {});

}  // namespace
}  // namespace kt::bench
