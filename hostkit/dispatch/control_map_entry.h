// CKtControlMapEntry is one registered handler: the function, its context, and the four values of
// the path under which it is found.
//
// Threads:   immutable; any thread.
// Ownership: shared between the control map that made it and the controls that run it: a handler
//            that is unregistered, or whose map goes, while it runs keeps its entry until it is
//            done. The manager holds no share.
// Failure:   Invoke passes on what the handler throws.
#pragma once

#include <cstdint>

#include "ktbus3/ktbus3.h"

struct CKtControlRequest;

// Serves a control and returns the status that the host gets. `context` is what was registered: the
// control map itself for a handler that serves any object. Runs with no lock held; it may register
// and unregister controls, its own too.
using KtControlHandler = KtStatus (*)(void* context, CKtControlRequest& request);

class CKtControlMapEntry {
 public:
  CKtControlMapEntry(void* context, std::uint32_t selector, std::uint32_t control_code,
                     const KtGuid& interface_id, KtControlHandler handler,
                     const KtObjId& object_id) noexcept;
  CKtControlMapEntry(const CKtControlMapEntry&) = delete;
  CKtControlMapEntry& operator=(const CKtControlMapEntry&) = delete;

  // Calls the handler with (context, request) and returns its status unchanged.
  [[nodiscard]] virtual KtStatus Invoke(CKtControlRequest& request) const;

  // True when the interface, selector and control code are equal and the framework's ObCompareId
  // says that the objects are the same.
  [[nodiscard]] virtual bool Matches(const KtGuid& interface_id, const std::uint32_t& selector,
                                     const std::uint32_t& control_code,
                                     const KtObjId& object_id) const noexcept;

  [[nodiscard]] virtual std::uint32_t GetSelector() const noexcept;
  [[nodiscard]] virtual std::uint32_t GetControlCode() const noexcept;

  // Copy the identifier into `out` and return it. The object's is all zeros for a handler that
  // serves any object.
  virtual KtObjId& GetObjectId(KtObjId& out) const noexcept;
  virtual KtGuid& GetInterfaceId(KtGuid& out) const noexcept;

  virtual ~CKtControlMapEntry() = default;

 private:
  void* context_;
  std::uint32_t selector_;
  std::uint32_t control_code_;
  KtGuid interface_id_;
  KtControlHandler handler_;
  KtObjId object_id_;
};
