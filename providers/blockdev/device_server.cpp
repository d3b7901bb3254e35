#include "blockdev/device_server.h"

#include <utility>

#include "base/module.h"
#include "base/status.h"
#include "base/trace.h"
#include "blockdev/publishing.h"
#include "dispatch/activity_scope.h"
#include "dispatch/control_request.h"
#include "objmodel/property_set.h"

namespace kt::blockdev {
namespace {

void WriteCounts(CKtPropertySet& to, const RefreshResult& result) {
  for (std::size_t i = 0; i < kKinds.size(); ++i) {
    to.AddProp(kKinds[i].group, result.published[i], 0);
  }
}

void RaiseComplete(const RefreshResult& result) noexcept {
  Try("raising", kCompleteEvent, [&] {
    CKtPropertySet counts;
    counts.Create();
    const kt::ScopedPropset scope(counts);
    WriteCounts(counts, result);
    kt::ThrowIfFailed(
        EvRaiseEvent(kt::DatabaseHandle(), kt::ProviderHandle(), kCompleteEvent, counts.Handle()),
        kt::kError, "%S: ERROR: EvRaiseEvent() failed");
  });
}

}  // namespace

DeviceServer::DeviceServer(DeviceSource source) : publisher_(std::move(source)) {}

void DeviceServer::Start() noexcept {
  RefreshResult result;
  {
    const kt::LockGuard guard(lock_);
    result = RefreshLocked();
  }
  RaiseComplete(result);
}

void DeviceServer::Stop() noexcept {
  Try("withdrawing", "the block devices", [this] {
    // The end of the scope frees the wrappers of what is withdrawn.
    const CKtActivityScope activity;
    const kt::LockGuard guard(lock_);
    stopped_ = true;
    controls_.UnRegisterAll();
    publisher_.Withdraw();
  });
}

KtStatus DeviceServer::ServeRescan(void* context, CKtControlRequest& request) {
  // A handler that throws is reported to the client as a success; this one says what went wrong.
  KtStatus status = 0;
  const std::uint32_t thrown = Try("serving", "the control rescan", [&] {
    status = static_cast<DeviceServer*>(context)->Rescan(request.output);
  });
  return thrown != 0 ? thrown : status;
}

KtStatus DeviceServer::Rescan(CKtPropertySet& output) {
  RefreshResult result;
  {
    const kt::LockGuard guard(lock_);
    if (stopped_) return KTERROR_PROVIDER_SHUTTING_DOWN;
    result = RefreshLocked();
  }
  if (result.added != 0 || result.removed != 0) RaiseComplete(result);
  if (result.status != 0) return result.status;
  WriteCounts(output, result);
  output.AddProp("added", result.added, 0);
  output.AddProp("removed", result.removed, 0);
  output.AddProp("changed", result.changed, 0);
  output.AddProp("failed", result.failed, 0);
  return 0;
}

RefreshResult DeviceServer::RefreshLocked() noexcept {
  const RefreshResult result = publisher_.Refresh();
  try {
    OfferControlLocked();
  } catch (...) {
    ReportFailure("offering", "the control rescan");
  }
  return result;
}

void DeviceServer::OfferControlLocked() {
  for (const KtObjId& group : publisher_.GroupIds()) {
    if (controls_.IsRegistered(kRescanInterface, kRescanSelector, kRescanControl, group)) continue;
    const KtStatus status = controls_.Register(kRescanInterface, kRescanSelector, kRescanControl,
                                               &DeviceServer::ServeRescan, group, this);
    if (status != 0) {
      kt::Trace(kt::kWarning, "%S: WARNING: a group does not offer rescan: 0x%x.", status);
    }
  }
}

}  // namespace kt::blockdev
