#include "system/shadow_copy_service.h"

#include <cstddef>

#include "base/trace.h"
#include "platform/platform.h"

namespace kt {

int KtNet(int nServiceStartStop) {
  // As many units as the command's buffer has, terminator included.
  constexpr std::size_t kLongestCommand = 260;

  KtTrace(kWarning, "HostKit - entering KtNet() with nServiceStartStop=%d", nServiceStartStop);
  Platform& platform = HostPlatform();
  KtWString command = platform.ShadowCopyCommand(nServiceStartStop == 0 ? ServiceAction::kStart
                                                                        : ServiceAction::kStop);
  if (command.size() >= kLongestCommand) command.resize(kLongestCommand - 1);

  KtTrace(kWarning, "HostKit - before calling CreateProcess for %S", command.c_str());
  std::uint32_t exit_code = 0;
  const int created = platform.StartCommand(command.c_str(), exit_code) ? 1 : 0;
  // Asked for at once: writing a line may well set another.
  const std::uint32_t reason = created != 0 ? 0 : platform.LastError();
  KtTrace(kWarning, "HostKit - after calling CreateProcess returns:%lx", created);
  if (created != 0) {
    // There is deliberately no wait, whatever the line says.
    KtTrace(kWarning, "hostkit - Waiting for the process to terminate ...");
    KtTrace(kWarning, "hostkit - Termination status: 0x%08x", exit_code);
  } else {
    KtTrace(kWarning, "HostKit - CreateProcess() failed to create %S !!! Reason: %lx",
            command.c_str(), reason);
  }
  KtTrace(kWarning, "HostKit - exiting KtNet with bFlg=%d", created);
  return created;
}

}  // namespace kt
