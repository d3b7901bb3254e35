// CKtControlFilter sees every control before its handler does and may end it.
//
// Threads:   filter() runs on the threads of the controls, several at once.
// Ownership: lent to CKtControlManager::AddFilter(). A control that is under way when
// RemoveFilter()
//            returns may still call it: the filter must outlive those, which it does once
//            CKtControlManager::WaitForIdle() has returned true after the removal.
// Failure:   as filter() says.
#pragma once

#include "ktbus3/ktbus3.h"

struct CKtControlRequest;

class CKtControlFilter {
 public:
  CKtControlFilter() = default;
  CKtControlFilter(const CKtControlFilter&) = delete;
  CKtControlFilter& operator=(const CKtControlFilter&) = delete;

  // KTSTATUS_CONTINUE lets the request go on; any other status ends it and is what the host gets. A
  // thrown 32-bit status does the same after a trace line; anything else that is thrown passes to
  // the caller of Invoke. Runs on the thread of the control, inside its activity scope, with no
  // lock held.
  [[nodiscard]] virtual KtStatus filter(CKtControlRequest& request) = 0;

  virtual ~CKtControlFilter() = default;
};
