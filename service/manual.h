// The manual page and the completions of ktsvc, made from its command line.
//
// Threads: pure functions.
#pragma once

#include <string>

#include "apptext/completion.h"

namespace ktsvc {

// ktsvc(1), in man(7) macros.
std::string ManualPage();

// The script that completes ktsvc's words.
std::string CompletionScript(apptext::Shell shell);

}  // namespace ktsvc
