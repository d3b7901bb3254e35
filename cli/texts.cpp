#include "texts.h"

#include <CLI/CLI.hpp>

#include "apptext/completion.h"
#include "apptext/man_page.h"
#include "command_line.h"

namespace ktctl {

std::string ManualPage() {
  Options options;
  apptext::ManualInfo info;
  info.files = {{"/run/ktsvc/ktsvc.sock", "The socket file of the service of the system."},
                {"$XDG_RUNTIME_DIR/ktsvc.sock", "That of a person's own service."}};
  info.seeAlso = {"ktsvc(1)"};
  return apptext::ManPage(*MakeApp(options), info);
}

std::optional<std::string> CompletionScript(std::string_view shell) {
  const std::optional<apptext::Shell> known = apptext::ShellNamed(shell);
  if (!known) {
    return std::nullopt;
  }
  Options options;
  return apptext::Completion(*MakeApp(options), *known,
                             {{"OBJECT", "ktctl ls --names"}, {"TYPE", "ktctl types --names"}});
}

}  // namespace ktctl
