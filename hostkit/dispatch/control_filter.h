// CKtControlFilter sees every control before its handler does and may end it.
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
