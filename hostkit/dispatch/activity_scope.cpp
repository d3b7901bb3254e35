#include "dispatch/activity_scope.h"

#include "dispatch/control_manager.h"

CKtActivityScope::CKtActivityScope() : manager_(&CKtControlManager::Instance()) {
  manager_->EnterActivity();
  open_ = 1;
}

CKtActivityScope::~CKtActivityScope() {
  Close();
}

void CKtActivityScope::Close() noexcept {
  if (open_ == 0) return;
  open_ = 0;
  manager_->LeaveActivity();
}
