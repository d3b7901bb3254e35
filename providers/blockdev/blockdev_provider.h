// CBlockDev is the provider of this machine's own block devices: disks, optical drives, partitions
// and volumes, each an object of the type that every bus has for it, in groups by kind.
//
// Threads:   Initialize and Shutdown on the host's thread, one after the other; Version from any.
// Ownership: the server that does the work is retired at shutdown and not deleted, because it is
//            the context of controls that may still be in their handler.
// Failure:   Initialize comes up with what could be published; it fails only without memory for
//            the server.
#pragma once

#include <cstdint>
#include <memory>

#include "blockdev/device_server.h"
#include "provider/provider.h"

namespace kt::blockdev {

class CBlockDev : public CKtProvider {
 public:
  explicit CBlockDev(DeviceSource source);
  ~CBlockDev() noexcept(false) override;

  // Publishes the devices. When called again while running, what was published is withdrawn first.
  KtStatus Initialize() override;

  // Withdraws everything that was published. Always 0; the argument is not read.
  KtStatus Shutdown(std::uint64_t argument) override;

  // The version of the source tree, "0.1.0", in a _KtAlloc block that the caller frees.
  // E_OUTOFMEMORY without memory for it; never throws.
  KtStatus Version(KtWchar** out) override;

 private:
  void StopServer() noexcept;

  DeviceSource source_;
  std::unique_ptr<DeviceServer> server_;
};

}  // namespace kt::blockdev
