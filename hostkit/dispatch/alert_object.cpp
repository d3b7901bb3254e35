#include "dispatch/alert_object.h"

#include "base/trace.h"

KtStatus CKtAlertObject::Publish(const KtAlertDefinition& definition) {
  const KtStatus status = ObPublishAlert(kt::DatabaseHandle(), kt::ProviderHandle(), &definition);
  if (status == KTERROR_REDEFINING_ALERT) {
    KtTrace(kt::kError,
            "WARNING: CKtAlertObject::Publish() Failed with error KTERROR_REDEFINING_ALERT.  The "
            "alert %s is already defined",
            definition.name);
    return status;
  }
  kt::ThrowIfFailedPlain(status, kt::kError,
                         "ERROR: CKtAlertObject::Publish() Failed with error %x", status);
  return status;
}

KtStatus CKtAlertObject::UnPublish(const char* name) {
  const KtStatus status = ObUnpublishAlert(kt::DatabaseHandle(), kt::ProviderHandle(), name);
  kt::ThrowIfFailedPlain(status, kt::kError, "CKtAlertObject::UnPublish() Failed with error %x",
                         status);
  return status;
}
