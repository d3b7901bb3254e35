#include "dispatch/alert.h"

#include <utility>

#include "base/trace.h"

CKtAlert::CKtAlert(std::string name) : name_(std::move(name)) {}

CKtAlert::CKtAlert(std::string name, const KtObjId& object)
    : object_(object), has_object_(true), name_(std::move(name)) {}

CKtAlert::~CKtAlert() {
  const kt::ScopedPropset last(*this);
}

KtStatus CKtAlert::SetMessage(const std::string& text, std::uint32_t number) {
  if (number == kNextNumber) number = message_counter_++;
  const std::string property = "AlertMsg" + std::to_string(static_cast<std::int32_t>(number));
  static_cast<void>(AddProp(property.c_str(), text, 0));
  return 0;
}

KtStatus CKtAlert::AddProperty(const cuvo_property& property) {
  CreateOnFirstNeed();
  return CKtPropertySet::AddProperty(property);
}

KtStatus CKtAlert::AddProperty(const CKtProperty& property) {
  CreateOnFirstNeed();
  return CKtPropertySet::AddProperty(property);
}

KtStatus CKtAlert::SetProperty(const CKtProperty& property) {
  CreateOnFirstNeed();
  return CKtPropertySet::SetProperty(property);
}

KtStatus CKtAlert::Raise() {
  CreateOnFirstNeed();
  const KtStatus status = ObRaiseAlert(kt::DatabaseHandle(), kt::ProviderHandle(), name_.c_str(),
                                       Handle(), has_object_ ? &object_ : nullptr);
  kt::ThrowIfFailedPlain(status, kt::kError,
                         "ERROR: CKtAlert::Raise(%s) Failed to raise alert, did you remember to "
                         "publish it? (ex: CKtAlertTypeObject::Publish(MY_ALERT_DEF);)",
                         name_.c_str());
  return status;
}

void CKtAlert::CreateOnFirstNeed() {
  if (Handle() == nullptr) Create();
}
