// CSys is the system provider: it publishes the host itself.
//
// Initialize registers the type "qelm_system" and its object with the system, reboot and trace
// interfaces, starts the shadow-copy provider service, publishes the configuration object where
// only the multipathing product is installed, waits for the end of the host's domain
// initialisation in order to decorate generic groups, and registers the controls of the system
// object. Shutdown stops the service and the listener.
//
// Threads:   Initialize and Shutdown on the host's thread, one after the other. Version from any.
//            Handlers and the group call-back are plain functions and touch nothing in here.
// Ownership: the listener holder is freed with the object. The control map outlives it, because it
//            is the context of handlers that may still run and its controls stay registered until
//            the control manager goes: it is retired, and freed when the module is detached.
// Failure:   only a type that cannot be registered ends Initialize, by a thrown status. Everything
//            else is logged and passed over, so that the provider comes up with what succeeded.
#pragma once

#include <cstdint>
#include <memory>

#include "provider/provider.h"

class CKtControlMap;
class CKtEventListener;

class CSys : public CKtProvider {
 public:
  CSys();
  ~CSys() noexcept(false) override;

  // May be called again while running: the old listener and control map are dropped first, then the
  // whole start runs again.
  KtStatus Initialize() override;

  // Always 0; the argument is not read.
  KtStatus Shutdown(std::uint64_t argument) override;

  // "WINNT.6.1.0.445" in a _KtAlloc block that the caller frees: the interface level that the host
  // expects, not the running system. E_OUTOFMEMORY without memory.
  KtStatus Version(KtWchar** out) override;

 private:
  void DropListenerAndControls();
  void StartListener() noexcept;
  void RegisterControls() noexcept;

  std::unique_ptr<CKtControlMap> control_map_;
  std::unique_ptr<CKtEventListener> listener_;
};
