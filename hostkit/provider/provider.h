// CKtProvider is the base of the one provider object that a loaded module holds.
//
// The host reaches it through the six functions of provider/api_table.h and through nothing else. A
// module derives its own class, overrides what it serves, and defines kt::MakeProvider().
//
// Life:      Instance() creates the object on first use, and with it the four managers: custom
//            object container, control manager, event manager, thread container, in that order.
//            __KtApiShutdown destroys it; its destructor stops the managers (see there). A handler
//            that outlives the shutdown may create a new one, which serves nobody and is released
//            when the module is detached (provider/module_state.h).
// Threads:   Instance() and the virtual operations from any thread. Control and Notify, and what
//            overrides them, touch no member once they have handed over to the managers, since a
//            request may still be in its handler while the object goes away; until then, and for
//            the whole of the other operations, shutdown leaves the object alone. Initialize and
//            Shutdown are the host's to order.
// Failure:   Instance() throws KTERROR_UNEXPECTED when no object could be made. What the virtual
//            operations throw reaches the host, Initialize and Shutdown excepted (api_table.h).
#pragma once

#include <cstdint>

#include "base/status.h"
#include "base/text.h"
#include "ktbus3/ktbus3.h"

struct CKtControlRequest;

class CKtProvider {
 public:
  // The module's provider, created when there is none yet. Never null. A failed creation still
  // creates the managers, leaves one line at level 6 and throws KTERROR_UNEXPECTED.
  static CKtProvider* Instance();

  // The provider, or null when there is none; creates nothing.
  [[nodiscard]] static CKtProvider* Existing() noexcept;

  // Destroys the provider, when there is one, as __KtApiShutdown does: the destructor runs the
  // shutdown of the managers. Throws what that throws; the pointer is cleared all the same.
  static void DestroyInstance();

  // Stops the managers as the destructor does and leaves the object alone: for calls that are still
  // inside it. Throws what that throws. ForgetInstance() is due afterwards.
  static void StopManagers();

  // Clears the pointer and sees to it that an object it still pointed to is released when the
  // module is detached. Nothing of that object runs now.
  static void ForgetInstance() noexcept;

  // Deletes the provider without the shutdown of the managers: for module detach, when the bus may
  // be gone, and for tests.
  static void ReleaseInstance() noexcept;

  CKtProvider();
  CKtProvider(const CKtProvider&) = delete;
  CKtProvider& operator=(const CKtProvider&) = delete;

  // The virtual operations, in an order that modules may rely on.

  // When this is the module's provider: stops the workers, shuts the custom object container down,
  // waits for running requests (at most 120 checks, one second apart), shuts the event manager
  // down, one line at level 4 after each, and clears the pointer. The order is deliberate: first
  // nothing new is posted, then the container drains, then requests end, and events stop last. A
  // call-back that hangs in an event holds the event manager's lock, and shutdown waits for it
  // without a bound. Any other object of the class is destroyed in silence.
  //
  // Throws what a deleted wrapper's destructor throws; the remaining steps are then left out. Needs
  // no memory.
  virtual ~CKtProvider() noexcept(false);

  // Copies the name, by default the module's, into `out` and returns `out`.
  virtual KtWString& GetName(KtWString& out) const;

  // Publishes what the module has. The two handles are stored by then (base/module.h).
  virtual KtStatus Initialize();

  // Undoes Initialize. The argument is the host's and has no meaning here.
  virtual KtStatus Shutdown(std::uint64_t argument);

  // Stores a version text in *out, a _KtAlloc block that the caller frees. E_NOTIMPL here.
  virtual KtStatus Version(KtWchar** out);

  // Called by nobody; it keeps the place of an operation between Version and GetAttr.
  virtual KtStatus Unused();

  // The host's attribute call; 0 here.
  virtual KtStatus GetAttr(std::uint64_t a, std::uint64_t b, std::uint64_t d);

  // Hands a notice (`d` points to a KtEventRecord) to the event manager.
  virtual KtStatus Notify(std::uint64_t a, std::uint64_t c, std::uint64_t d);

  // Hands a request to the control manager, which is created when there is none.
  virtual KtStatus Control(CKtControlRequest& request);

  // The name without a copy; lives as long as the object.
  [[nodiscard]] const KtWString& Name() const noexcept { return name_; }

 private:
  static void CreateManagers();

  KtWString name_;
};

namespace kt {

// The second hook of the toolkit (the first is kt::kModuleName): makes the module's provider
// object with `new`. Returns null, or throws std::bad_alloc, when there is no memory. Two threads
// that meet at the first use may both call it; the object of the one that comes second is deleted
// at once, so a constructor must have no effect beyond its object. Defined by the module.
CKtProvider* MakeProvider();

}  // namespace kt
