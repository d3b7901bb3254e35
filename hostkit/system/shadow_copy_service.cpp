#include "system/shadow_copy_service.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "base/trace.h"
#include "platform/platform.h"

namespace kt {

int KtNet(int nServiceStartStop) noexcept {
  // As many units as the command's buffer has, terminator included.
  constexpr std::size_t kLongestCommand = 260;

  KtTrace(kWarning, "HostKit - entering KtNet() with nServiceStartStop=%d", nServiceStartStop);
  Platform& platform = HostPlatform();
  const std::basic_string_view<KtWchar> whole = platform.ShadowCopyCommand(
      nServiceStartStop == 0 ? ServiceAction::kStart : ServiceAction::kStop);
  std::array<KtWchar, kLongestCommand> command{};
  std::copy_n(whole.data(), std::min(whole.size(), kLongestCommand - 1), command.begin());

  KtTrace(kWarning, "HostKit - before calling CreateProcess for %S", command.data());
  std::uint32_t exit_code = 0;
  const int created = platform.StartCommand(command.data(), exit_code) ? 1 : 0;
  // Asked for at once: writing a line may well set another.
  const std::uint32_t reason = created != 0 ? 0 : platform.LastError();
  KtTrace(kWarning, "HostKit - after calling CreateProcess returns:%lx", created);
  if (created != 0) {
    // There is deliberately no wait, whatever the line says.
    KtTrace(kWarning, "hostkit - Waiting for the process to terminate ...");
    KtTrace(kWarning, "hostkit - Termination status: 0x%08x", exit_code);
  } else {
    KtTrace(kWarning, "HostKit - CreateProcess() failed to create %S !!! Reason: %lx",
            command.data(), reason);
  }
  KtTrace(kWarning, "HostKit - exiting KtNet with bFlg=%d", created);
  return created;
}

}  // namespace kt
