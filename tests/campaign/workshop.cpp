#include "campaign/workshop.h"

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/lock.h"
#include "base/module.h"
#include "base/retired.h"
#include "base/status.h"
#include "dispatch/activity_hold.h"
#include "dispatch/activity_scope.h"
#include "dispatch/alert.h"
#include "dispatch/alert_object.h"
#include "dispatch/control_filter.h"
#include "dispatch/control_manager.h"
#include "dispatch/control_map.h"
#include "dispatch/control_request.h"
#include "dispatch/event_listener.h"
#include "lifetime/custom_object_container.h"
#include "lifetime/thread_container.h"
#include "lifetime/worker.h"
#include "objmodel/i18n_fm.h"
#include "objmodel/object.h"
#include "objmodel/type_object.h"
#include "provider/provider.h"

namespace {

using workshop::kInterface;

constexpr const char* kType = "workshop_bench";
constexpr const char* kPattern = "event.workshop.*.ready";
constexpr const char* kAlert = "workshop.alert";
constexpr KtGuid kSecondInterface{
    0x5D7B8A12, 0x1C42, 0x4F0E, {0x9B, 0x20, 0x6E, 0x2F, 0x41, 0x77, 0x0A, 0x35}};

KtI18NDef Message(const char* text) {
  return {{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, 17, 0, text};
}

// Lets everything through that it is asked about.
class CWatchman : public CKtControlFilter {
 public:
  KtStatus filter(CKtControlRequest&) override { return KTSTATUS_CONTINUE; }
};

// A worker whose thread waits for its end.
class CIdler : public CKtWorker {
 public:
  CIdler() { CKtThreadContainer::Instance().Add(*this); }
  ~CIdler() override {
    CIdler::RequestStop();
    if (thread_.joinable()) thread_.join();
    CKtThreadContainer::Instance().Remove(*this);
  }
  CIdler(const CIdler&) = delete;
  CIdler& operator=(const CIdler&) = delete;

  void Start() {
    MarkRunning();
    try {
      thread_ = std::thread([this] {
        {
          std::unique_lock lock(lock_);
          wake_.wait(lock, [this] { return IsStopRequested(); });
        }
        MarkStopped();
      });
    } catch (...) {
      MarkStopped();
      throw;
    }
  }

  void RequestStop() noexcept override {
    CKtWorker::RequestStop();
    const std::lock_guard lock(lock_);
    wake_.notify_all();
  }

 private:
  std::mutex lock_;
  std::condition_variable wake_;
  std::thread thread_;
};

struct CListener : CKtEventListener {
  CListener() noexcept : CKtEventListener(kt::DatabaseHandle(), kt::ProviderHandle()) {}
  ~CListener() override { UnRegisterAll(); }
  CListener(const CListener&) = delete;
  CListener& operator=(const CListener&) = delete;
};

// ---- The parts ---------------------------------------------------------------------------------

void UseProperties(CKtControlRequest& request) {
  std::string text;
  KtWString wide;
  std::uint32_t number = 0;
  std::vector<std::string> list;
  request.input.GetProp("text", text, true);
  request.input.GetProp("wide", wide, true);
  request.input.GetProp("number", number, true);
  request.input.GetProp("list", list, true);
  kt::ScopedPropset nested;
  nested->Create();
  nested->AddProp("inside", std::uint64_t{5}, 0);
  request.output.AddProp("text", text, 0);
  request.output.AddProp("wide", wide, 0);
  request.output.AddProp("number", number, 0);
  request.output.AddProp("list", list, 0);
  request.output.AddProp("id", request.target.Id(), 0);
  request.output.AddProp("interface", kInterface, 0);
  request.output.AddProp("set", nested->Handle(), 0);
  request.output.AddProp("numbers", std::vector<std::uint32_t>{1, 2, 3}, 0);
  request.output.AddProp("all", request.output.ToString(true), 0);
}

KtStatus Nothing(void*, CKtControlRequest&) {
  return 0;
}

KtStatus Heard(void*, const CKtEventView*, std::uint64_t, std::uint64_t) {
  return 0;
}

void UseRegistration(const KtObjId& object) {
  // A control that is under way may still ask a filter that has been removed: it is never
  // destroyed.
  static CWatchman watchman;
  CKtControlMap controls;
  CKtControlManager& manager = CKtControlManager::Instance();
  manager.AddFilter(watchman);
  const std::unique_ptr<CWatchman, void (*)(CWatchman*)> added(
      &watchman, [](CWatchman* filter) { CKtControlManager::Instance().RemoveFilter(*filter); });
  for (std::uint32_t code = 1; code <= 3; ++code) {
    const KtStatus status = controls.Register(kSecondInterface, 0, code, &Nothing, object, nullptr);
    if (status != 0) throw std::uint32_t{status};
  }
  controls.UnRegister(kSecondInterface, 0, 2, object);
  CListener listener;
  listener.Register("event.workshop.a", &Heard);
  listener.Register("event.workshop.*", &Heard);
  listener.UnRegister("event.workshop.a");
}

void MakeBench(const KtWString& name) {
  const CKtActivityScope activity;
  auto owned = std::make_unique<CKtObject>();
  CKtObject& object = *owned;
  object.Create(kType, 0);
  try {
    object.BeginTransaction();
    object.SetName(name);
    object.AddProp("size", std::uint64_t{1} << 40, 0);
    object.CommitTransaction();
    object.BeginTransaction();
    object.SetState(2);
    object.RollbackTransaction();
    // Once the container has the wrapper, its shutdown deletes it at any moment, unless that is
    // kept out.
    const kt::ActivityHold hold;
    const KtStatus status = CKtCustomObjectContainer::Instance().Add(std::move(owned));
    if (status != 0) throw std::uint32_t{status};
    object.LazyDelete();
  } catch (...) {
    if (owned != nullptr) object.Destroy();
    throw;
  }
}

void UseObjects() {
  MakeBench(KT_W("first"));
  const CKtActivityScope activity;  // the second is freed when this ends
  MakeBench(KT_W("second"));
}

void UseAlerts(const KtObjId& object) {
  const KtAlertDefinition definition{"workshop.second", "A second alert", 2, 0};
  CKtAlertObject::Publish(definition);
  CKtAlert alert(kAlert, object);
  alert.SetMessage("the bench is full");
  alert.AddProp("count", std::uint32_t{3}, 0);
  alert.Raise();
  CKtAlertObject::UnPublish(definition.name);
}

void UseMessages(CKtControlRequest& request) {
  CKtI18NFM message(Message("%1 has %2 drawers"));
  message.Create();
  I18nAddInsertionString(message.Insertions(), 1, "the bench");
  I18nAddInsertionWideString(message.Insertions(), 2, KT_W("three"));
  const CKtI18NFM copy(message);
  request.output.AddProp("text", copy.Format(), 0);
  request.output.AddProp("message", copy, 0);
  std::vector<CKtI18NFM> both;
  both.reserve(2);
  both.push_back(message);
  both.push_back(copy);
  request.output.AddProp("messages", both, 0);
  kt::DestroyMessages(both);
  std::vector<CKtI18NFM> read;
  request.output.GetProp("messages", read, true);
  kt::DestroyMessages(read);
  message.DestroyInsertions();
}

void UseWorkers() {
  CIdler started;
  const CIdler never_started;
  started.Start();
  CKtThreadContainer::Instance().StopAll();
}

// ---- The provider ------------------------------------------------------------------------------

class CBench {
 public:
  void Start() {
    RegisterType();
    object_.Create(kType, 0);
    id_ = object_.Id();
    object_.SetName(KT_W("bench"));
    object_.SetNameI18N(Message("the bench"));
    object_.SetState(1);
    for (std::uint32_t code = 1; code < workshop::kAfterTheLast; ++code) {
      const KtStatus status = controls_.Register(kInterface, 0, code, &CBench::Answer, id_, this);
      if (status != 0) throw std::uint32_t{status};
    }
    CKtAlertObject::Publish({kAlert, "An alert", 1, 0});
    listener_ = std::make_unique<CListener>();
    listener_->Register(kPattern, &CBench::OnReady);
  }

  void Stop() noexcept {
    listener_.reset();
    controls_.UnRegisterAll();
    try {
      CKtAlertObject::UnPublish(kAlert);
      object_.Destroy();
    } catch (...) {
      // It is traced; the end goes on.
    }
  }

 private:
  static void RegisterType() {
    static constexpr const KtGuid* kInterfaces[] = {&kSecondInterface, nullptr};
    static constexpr const char* kSuperclasses[] = {"qelm_ktvm", nullptr};
    static constexpr KtTypeDescriptor kDescriptor{kInterfaces, kSuperclasses};
    CKtTypeObject type(kType);
    type.SetDescriptor(&kDescriptor);
    type.AddProp("VENDOR", KT_W("workshop"), 0);
    type.Register();
  }

  static KtStatus Answer(void* context, CKtControlRequest& request) {
    try {
      static_cast<CBench*>(context)->Do(request);
      return 0;
    } catch (std::uint32_t status) {
      return status;
    }
  }

  void Do(CKtControlRequest& request) {
    switch (request.controlCode) {
      case workshop::kProperties:
        return UseProperties(request);
      case workshop::kRegistration:
        return UseRegistration(id_);
      case workshop::kObjects:
        return UseObjects();
      case workshop::kAlerts:
        return UseAlerts(id_);
      case workshop::kMessages:
        return UseMessages(request);
      default:
        return UseWorkers();
    }
  }

  static KtStatus OnReady(void*, const CKtEventView* view, std::uint64_t, std::uint64_t) {
    CKtPropertySet properties(view->event->properties);
    std::string text;
    properties.GetProp("text", text, true);
    return 0;
  }

  CKtObject object_;  // the start's and the stop's
  KtObjId id_{};      // does not change while controls are served
  CKtControlMap controls_;
  std::unique_ptr<CListener> listener_;
};

class CWorkshop : public CKtProvider {
 public:
  CWorkshop() = default;
  ~CWorkshop() noexcept(false) override { Leave(); }

  KtStatus Initialize() override {
    Leave();
    bench_ = std::make_unique<CBench>();
    bench_->Start();
    return 0;
  }
  KtStatus Shutdown(std::uint64_t) override {
    CKtThreadContainer::Instance().StopAll();
    Leave();
    return 0;
  }
  KtStatus Version(KtWchar** out) override { return kt::GiveText(KT_W("1.0"), out); }

 private:
  void Leave() noexcept {
    if (bench_ == nullptr) return;
    bench_->Stop();
    kt::Retire(std::move(bench_));
  }

  std::unique_ptr<CBench> bench_;
};

}  // namespace

const KtWchar* const kt::kModuleName = KT_W("workshop");

CKtProvider* kt::MakeProvider() {
  return new CWorkshop;
}
