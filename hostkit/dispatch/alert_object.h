// CKtAlertObject publishes alert definitions to the host's database and withdraws them.
//
// Threads:   any.
// Ownership: the definition is lent for the call.
// Failure:   traced, then thrown as a 32-bit status; only a name that is published already is
//            answered with its status, after a line.
#pragma once

#include "ktbus3/ktbus3.h"

class CKtAlertObject {
 public:
  // Publishes a definition. Returns the host's status: KTERROR_REDEFINING_ALERT when the name is
  // published already, which is harmless. Throws any other failing status.
  static KtStatus Publish(const KtAlertDefinition& definition);

  // Withdraws a published alert. Returns the host's status; throws a failing one.
  static KtStatus UnPublish(const char* name);
};
