#include "system/system_controls.h"

#include "base/status.h"
#include "base/trace.h"
#include "dispatch/control_request.h"
#include "platform/platform.h"
#include "provider/provider.h"

namespace kt {
namespace {

constexpr char kTraceLevelName[] = "tracelevel";
// A handler has its provider before it starts. Where none can be made, Instance() says so in the
// trace; the handlers need nothing of it and go on.
void EnsureProvider() noexcept {
  try {
    CKtProvider::Instance();
  } catch (...) {  // NOLINT(bugprone-empty-catch): traced where it was thrown
  }
}

class CredentialsGuard {
 public:
  CredentialsGuard() = default;
  CredentialsGuard(const CredentialsGuard&) = delete;
  CredentialsGuard& operator=(const CredentialsGuard&) = delete;
  ~CredentialsGuard() {
    if (open_) HostPlatform().CloseCredentials(credentials_);
  }
  [[nodiscard]] bool Open() { return open_ = HostPlatform().OpenCredentials(credentials_); }
  [[nodiscard]] Credentials get() const noexcept { return credentials_; }

 private:
  Credentials credentials_ = nullptr;
  bool open_ = false;
};

bool Restart() {
  Platform& platform = HostPlatform();
  CredentialsGuard credentials;
  if (!credentials.Open()) return false;
  std::uint64_t privilege = 0;
  if (!platform.FindRestartPrivilege(privilege)) return false;
  // The error is asked for in every case, but counts only where the call says that it failed: one
  // that could not assign everything goes on, and the restart itself tells.
  const bool enabled = platform.EnablePrivilege(credentials.get(), privilege);
  const std::uint32_t error = platform.LastError();
  if (!enabled && error != 0) return false;
  return platform.ForceRestart();
}

std::uint32_t RequestedLevel(const CKtPropertySet& input) noexcept {
  try {
    std::uint32_t level = 0;
    return input.GetProp(kTraceLevelName, level, true);
  } catch (...) {
    return 0;
  }
}

}  // namespace

KtStatus Reboot(void* /*context*/, CKtControlRequest& /*request*/) noexcept {
  EnsureProvider();
  try {
    return Restart() ? 0 : KTERROR_REBOOT_FAILED;
  } catch (...) {
    return KTERROR_REBOOT_FAILED;
  }
}

KtStatus SetTraceLevel(void* /*context*/, CKtControlRequest& request) noexcept {
  EnsureProvider();
  const std::uint32_t level = RequestedLevel(request.input);
  if (level == 0) return E_INVALIDARG;
  const std::uint32_t previous = KtSetTraceLevel(level);
  try {
    request.output.AddProp(kTraceLevelName, previous, kNoFlags);
  } catch (...) {  // NOLINT(bugprone-empty-catch): traced; the level is set all the same
  }
  KtTrace(kError, "CSys - SetTraceLevel from %u to %u", previous, level);
  return 0;
}

}  // namespace kt
