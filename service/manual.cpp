#include "manual.h"

#include "apptext/completion.h"
#include "apptext/man_page.h"
#include "command_line.h"

namespace ktsvc {

std::string ManualPage() {
  apptext::ManualInfo info;
  info.files = {
      {"/etc/ktsvc/access.conf",
       "Who may do what, where the service runs as a unit of the system."},
      {"/etc/ktsvc/registry", "The registry that providers read: folders are keys, files values."},
      {"/run/ktsvc/ktsvc.sock", "The socket of the management API."},
      {"/var/log/ktsvc/audit.jsonl", "The audit log of the unit."},
      {"/usr/lib/ktsvc/modules", "Where modules are looked for by name."}};
  info.seeAlso = {"systemctl(1)", "journalctl(1)", "curl(1)"};
  return apptext::ManPage(CommandLine().app(), info);
}

std::optional<std::string> CompletionScript(std::string_view shell) {
  const std::optional<apptext::Shell> known = apptext::ShellNamed(shell);
  if (!known) {
    return std::nullopt;
  }
  return apptext::Completion(CommandLine().app(), *known, {{"PROVIDER", "ktsvc modules", true}});
}

}  // namespace ktsvc
