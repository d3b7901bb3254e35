// DeviceServer publishes the devices, tells the bus when that is done, and serves the control
// "rescan" on every group that it has published.
//
// The control:  interface kRescanInterface, selector 0, code kRescanControl. Input: nothing.
//               Reads the devices again: new ones are published, gone ones deleted, changed ones
//               updated. Output (TYPE_UINT32 each): the five counts of the event, and "added",
//               "removed", "changed" and "failed". Status: 0, or why the devices could not be
//               listed (they are then left as they were), or KTERROR_PROVIDER_SHUTTING_DOWN.
// The event:    kCompleteEvent, raised by Start(), and by a rescan that has added or removed a
//               device (one whose group was missing is added when it comes into it), so that
//               whoever looks at the groups then looks again. Properties (TYPE_UINT32): "disks",
//               "cdroms", "oem_partitions", "partitions", "volumes".
//
// Threads:   any member from any thread; one lock is held for a whole rescan, so that two of them
//            come one after the other. It comes before every lock of the toolkit.
// Ownership: the server is the context of handlers that may still run when the provider goes: the
//            provider retires it (base/retired.h) after Stop().
// Failure:   nothing throws but Rescan().
#pragma once

#include <cstdint>

#include "base/lock.h"
#include "blockdev/device_publisher.h"
#include "dispatch/control_map.h"
#include "ktbus3/ktbus3.h"

class CKtPropertySet;
struct CKtControlRequest;

namespace kt::blockdev {

inline constexpr KtGuid kRescanInterface{
    0x17D18B22, 0xC1E8, 0x4C0E, {0x90, 0x98, 0xAC, 0x26, 0xD6, 0x4F, 0x63, 0xC3}};
inline constexpr std::uint32_t kRescanSelector = 0;
inline constexpr std::uint32_t kRescanControl = 12001;
inline constexpr const char* kCompleteEvent = "event.qelm.dom.initialization.blockdev.complete";

class DeviceServer {
 public:
  explicit DeviceServer(DeviceSource source);
  DeviceServer(const DeviceServer&) = delete;
  DeviceServer& operator=(const DeviceServer&) = delete;

  // Publishes what is there, offers the control and raises the event.
  void Start() noexcept KT_EXCLUDES(lock_);

  // Withdraws everything. Waits for a rescan under way; later ones are refused.
  void Stop() noexcept KT_EXCLUDES(lock_);

  // The control: reads the devices again and writes the answer. Returns the control's status;
  // throws a status when the answer cannot be written. Inside an activity scope, as controls are.
  KtStatus Rescan(CKtPropertySet& output) KT_EXCLUDES(lock_);

 private:
  static KtStatus ServeRescan(void* context, CKtControlRequest& request);

  RefreshResult RefreshLocked() noexcept KT_REQUIRES(lock_);
  void OfferControlLocked() KT_REQUIRES(lock_);

  kt::Lock lock_;
  bool stopped_ KT_GUARDED_BY(lock_) = false;
  DevicePublisher publisher_ KT_GUARDED_BY(lock_);
  CKtControlMap controls_ KT_GUARDED_BY(lock_);
};

}  // namespace kt::blockdev
