#include "manual.h"

#include "apptext/text_verbs.h"

namespace ktsvc {

std::optional<std::string> AskedText(const CommandLine& line) {
  apptext::ManualInfo info;
  info.files = {
      {"/etc/ktsvc/access.conf",
       "Who may do what, where the service runs as a unit of the system."},
      {"/etc/ktsvc/registry", "The registry that providers read: folders are keys, files values."},
      {"/run/ktsvc/ktsvc.sock", "The socket of the management API."},
      {"/var/log/ktsvc/audit.jsonl", "The audit log of the unit."},
      {"/usr/lib/ktsvc/modules", "Where modules are looked for by name."}};
  info.seeAlso = {"systemctl(1)", "journalctl(1)", "curl(1)"};
  return apptext::AskedText(line.app(), info, {{"PROVIDER", "ktsvc modules", true}});
}

}  // namespace ktsvc
