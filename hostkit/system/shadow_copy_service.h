// The product's shadow-copy provider service, which runs while this provider is loaded.
#pragma once

namespace kt {

// Starts (0) or stops (anything else) the service through the platform's command, and returns
// non-zero once the command's process was created. The command is not waited for and its exit code
// never changes the result; the code in the log is the one straight after the start.
int KtNet(int nServiceStartStop) noexcept;

}  // namespace kt
