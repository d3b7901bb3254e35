// hello: a first provider, to be read from top to bottom.
//
// A provider is a module that a storage-management service loads. It publishes objects on the
// service's bus, answers the requests ("controls") that clients send to them, and hears of events.
// This one publishes a single greeter and shows, in one file, each thing that a provider does:
//
//   1. the module's name and its provider object    the two hooks that every module defines
//   2. a type and an object with properties         CGreeter::Start
//   3. a control                                    CGreeter::Greet
//   4. an event listener                            CGreeter::OnDomainReady
//   5. a worker thread                              CHeartbeat
//   6. going away and leaving nothing behind        CGreeter::Stop, CHello::Shutdown
//
// Build it with `cmake --build <folder> --target hello` and see it live with
// `ktsvc run --once hello`.
//
// Rules that a provider lives by, all of them shown below:
//   - What the toolkit cannot do it traces, and throws as a bare 32-bit status. Catch statuses
//     where you can go on without the thing that failed.
//   - The service calls on many threads at once. Whatever two calls share stands under a lock.
//   - A handler may still be running when the provider goes. Its context is therefore retired and
//     not deleted (kt::Retire): it lives until the module is unloaded.
#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "base/lock.h"
#include "base/module.h"
#include "base/owned.h"
#include "base/retired.h"
#include "base/status.h"
#include "base/trace.h"
#include "dispatch/activity_scope.h"
#include "dispatch/control_map.h"
#include "dispatch/control_request.h"
#include "dispatch/event_listener.h"
#include "lifetime/custom_object_container.h"
#include "lifetime/thread_container.h"
#include "lifetime/worker.h"
#include "objmodel/object.h"
#include "objmodel/type_object.h"
#include "provider/provider.h"

namespace {

// Names that clients see. Types and properties are plain texts; an interface is a GUID of your own
// making (make a new one for each interface, and never change it afterwards).
constexpr const char* kGreeterType = "hello_greeter";
constexpr KtGuid kGreeterInterface{
    0x4F4557A0, 0xE980, 0x4E14, {0x96, 0xDD, 0x68, 0x18, 0x80, 0x0A, 0xF1, 0x2D}};

// A control is found by object, interface, selector and code. The selector is 0 unless you serve
// several families of controls.
constexpr std::uint32_t kSelector = 0;
constexpr std::uint32_t kGreetControl = 20001;

// "*" stands for one part of the name: any provider that has finished publishing its domain.
constexpr const char* kDomainReady = "event.qelm.dom.initialization.*.complete";

// ---- The greeter: one object, its control and its event ----------------------------------------

class CGreeter {
 public:
  // Publishes the object. Throws a status when that is impossible.
  void Start();

  // Takes everything off the bus again.
  void Stop() noexcept;

  // Called by the worker thread, now and then.
  void Beat() noexcept KT_EXCLUDES(lock_);

 private:
  // The listener is what the event call-back gets as its owner: derive from it to find your way
  // back from there.
  struct CListener : CKtEventListener {
    explicit CListener(CGreeter& owner) noexcept
        : CKtEventListener(kt::DatabaseHandle(), kt::ProviderHandle()), greeter(owner) {}
    CGreeter& greeter;
  };

  static KtStatus Greet(void* context, CKtControlRequest& request);
  static KtStatus OnDomainReady(void* owner, const CKtEventView* view, std::uint64_t first,
                                std::uint64_t third);

  void RegisterType();
  void Publish() KT_EXCLUDES(lock_);
  std::string MakeGreeting(const std::string& who) KT_EXCLUDES(lock_);
  void AddOneTo(const char* property, std::uint32_t& counter) KT_REQUIRES(lock_);

  // Controls, events and the worker come on threads of their own. Each member says which lock it
  // stands under, and clang checks it.
  kt::Lock lock_;
  CKtObject* object_ KT_GUARDED_BY(lock_) = nullptr;  // lent by the custom object container
  std::uint32_t greetings_ KT_GUARDED_BY(lock_) = 0;
  std::uint32_t domains_ready_ KT_GUARDED_BY(lock_) = 0;
  std::uint32_t heartbeats_ KT_GUARDED_BY(lock_) = 0;

  // Used at start and stop only, on the service's thread.
  CKtControlMap controls_;
  std::unique_ptr<CListener> listener_;
};

void CGreeter::Start() {
  RegisterType();
  Publish();

  // Listen last: from here on events come in.
  listener_ = std::make_unique<CListener>(*this);
  listener_->Register(kDomainReady, &CGreeter::OnDomainReady);
}

void CGreeter::RegisterType() {
  // The type is a property set; what is put into it becomes a property of the type. Registering a
  // type that is there already is no error.
  CKtTypeObject type(kGreeterType);
  type.AddSuperclass("qelm_ktvm");
  type.AddProp("AUTHOR", KT_W("you"), 0);
  type.Register();
}

void CGreeter::Publish() {
  auto owned = std::make_unique<CKtObject>();
  CKtObject& object = *owned;
  object.Create(kGreeterType, 0);
  try {
    object.SetName(KT_W("greeter"));
    object.AddProp("language", "en", 0);
    object.AddProp("greetings", std::uint32_t{0}, 0);
    object.AddProp("domains_ready", std::uint32_t{0}, 0);
    object.AddProp("heartbeats", std::uint32_t{0}, 0);

    // The handler for this one object. Registering it makes the object offer the interface.
    KtStatus status = controls_.Register(kGreeterInterface, kSelector, kGreetControl,
                                         &CGreeter::Greet, object.Id(), this);
    if (status != 0) throw std::uint32_t{status};

    // The container takes the wrapper over, unless it fails; we keep a pointer.
    const kt::LockGuard guard(lock_);
    status = CKtCustomObjectContainer::Instance().Add(std::move(owned));
    if (status != 0) throw std::uint32_t{status};
    object_ = &object;
  } catch (...) {
    // Deleting a wrapper never deletes the object on the bus: that has to be said.
    object.Destroy();
    throw;
  }
}

// The control. A handler runs on a thread of the service with no lock held. It returns the status
// that the client gets; one that throws counts as a success, so catch what must not be hidden.
KtStatus CGreeter::Greet(void* context, CKtControlRequest& request) {
  try {
    // Optional: a missing "who" leaves the text as it was. One of another type throws.
    std::string who;
    request.input.GetProp("who", who, true);
    if (who.empty()) return E_INVALIDARG;
    request.output.AddProp("greeting", static_cast<CGreeter*>(context)->MakeGreeting(who), 0);
    return 0;
  } catch (std::uint32_t status) {
    return status;
  }
}

std::string CGreeter::MakeGreeting(const std::string& who) {
  const kt::LockGuard guard(lock_);
  AddOneTo("greetings", greetings_);
  return "Hello, " + who + "!";
}

// The event. A call-back runs with the event manager's lock held, so it may take our lock, but
// nobody may wait for the event manager while holding ours: that is why Stop() drops the listener
// before it takes the lock.
KtStatus CGreeter::OnDomainReady(void* owner, const CKtEventView* view, std::uint64_t,
                                 std::uint64_t) {
  CGreeter& greeter = static_cast<CListener*>(owner)->greeter;
  kt::Trace(kt::kInfo, "%S: INFO: heard %s", view->event->name);
  const kt::LockGuard guard(greeter.lock_);
  greeter.AddOneTo("domains_ready", greeter.domains_ready_);
  return 0;
}

void CGreeter::Beat() noexcept {
  try {
    const kt::LockGuard guard(lock_);
    AddOneTo("heartbeats", heartbeats_);
  } catch (...) {
    // Traced where it was thrown. A beat that was not written is no reason to stop beating.
  }
}

void CGreeter::AddOneTo(const char* property, std::uint32_t& counter) {
  ++counter;
  // Stop() may have been here before us.
  if (object_ != nullptr) object_->AddProp(property, counter, 0);
}

void CGreeter::Stop() noexcept {
  listener_.reset();
  controls_.UnRegisterAll();
  try {
    // LazyDelete() deletes the object from the bus at once and its wrapper when no call is in
    // flight any more. The scope counts as a call; its end frees the wrapper.
    const CKtActivityScope activity;
    const kt::LockGuard guard(lock_);
    if (object_ != nullptr) object_->LazyDelete();
    object_ = nullptr;
  } catch (...) {
    kt::Trace(kt::kWarning, "%S: WARNING: the greeter could not be withdrawn.");
  }
}

// ---- The worker: a thread of our own -----------------------------------------------------------

class CHeartbeat : public CKtWorker {
 public:
  explicit CHeartbeat(CGreeter& greeter) noexcept : greeter_(greeter) {}
  CHeartbeat(const CHeartbeat&) = delete;
  CHeartbeat& operator=(const CHeartbeat&) = delete;

  ~CHeartbeat() override {
    if (!thread_.joinable()) return;
    RequestStop();
    thread_.join();
    CKtThreadContainer::Instance().Remove(*this);
  }

  void Start() {
    CKtThreadContainer::Instance().Add(*this);
    MarkRunning();
    try {
      thread_ = std::thread([this] { Run(); });
    } catch (...) {
      MarkStopped();
      CKtThreadContainer::Instance().Remove(*this);
      throw;
    }
  }

 private:
  static constexpr std::uint32_t kPauseMs = 10;

  void Run() noexcept {
    while (!IsStopRequested()) {
      greeter_.Beat();
      KtSleep(kPauseMs);
    }
    // The thread's last act: from here on it touches nothing of ours.
    MarkStopped();
  }

  CGreeter& greeter_;
  std::thread thread_;
};

// ---- The provider ------------------------------------------------------------------------------

class CHello : public CKtProvider {
 public:
  CHello() = default;
  ~CHello() noexcept(false) override { Leave(); }

  // Publish. What throws here is traced, and the service is told that the provider did not start.
  KtStatus Initialize() override {
    Leave();  // a second Initialize starts anew
    greeter_ = std::make_unique<CGreeter>();
    greeter_->Start();
    heartbeat_ = std::make_unique<CHeartbeat>(*greeter_);
    heartbeat_->Start();
    return 0;
  }

  // Undo it, in reverse. The base class stops the managers afterwards.
  KtStatus Shutdown(std::uint64_t) override {
    // Asks every worker of the module to stop and waits, with a bound and a line in the trace.
    CKtThreadContainer::Instance().StopAll();
    Leave();
    return 0;
  }

  // A text in memory of the framework, which the service frees.
  KtStatus Version(KtWchar** out) override { return kt::GiveText(KT_W("1.0"), out); }

 private:
  void Leave() noexcept {
    heartbeat_.reset();  // joins the thread
    if (greeter_ == nullptr) return;
    greeter_->Stop();
    kt::Retire(std::move(greeter_));
  }

  std::unique_ptr<CGreeter> greeter_;
  std::unique_ptr<CHeartbeat> heartbeat_;
};

}  // namespace

// ---- The two hooks -----------------------------------------------------------------------------

// The name that the service asks for, and with which every line of the toolkit's trace begins.
const KtWchar* const kt::kModuleName = KT_W("hello");

// Makes the provider object. A constructor must have no effect beyond its object.
CKtProvider* kt::MakeProvider() {
  return new CHello;
}
