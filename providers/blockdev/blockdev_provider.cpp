#include "blockdev/blockdev_provider.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/owned.h"
#include "base/retired.h"
#include "base/status.h"
#include "base/trace.h"

namespace kt::blockdev {

CBlockDev::CBlockDev(DeviceSource source) : source_(std::move(source)) {}

CBlockDev::~CBlockDev() noexcept(false) {
  StopServer();
}

KtStatus CBlockDev::Initialize() {
  StopServer();
  server_ = std::make_unique<DeviceServer>(source_);
  server_->Start();
  return 0;
}

KtStatus CBlockDev::Shutdown(std::uint64_t) {
  StopServer();
  return 0;
}

KtStatus CBlockDev::Version(KtWchar** out) {
  return GiveText(KT_W(BLOCKDEV_VERSION), out);
}

void CBlockDev::StopServer() noexcept {
  if (server_ == nullptr) return;
  server_->Stop();
  kt::Retire(std::move(server_));
}

}  // namespace kt::blockdev
