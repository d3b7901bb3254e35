// Starting a program that nobody waits for.
#pragma once

#include <string>
#include <vector>

namespace kt {

// Starts words[0], found on PATH when it has no slash, with all of `words` as its arguments.
// Returns 0 once the program runs, or an error number of errno.h when it could not be started.
//
// The program is no child of this process: it is never a zombie here and needs no waiting. It has a
// session of its own, the caller's environment and folder, no input and output, no other open
// files, no blocked signals and every signal's default action.
//
// Threads:   any. A host that waits for any child may take the short-lived child that starts the
//            program; that is no harm.
int StartDetached(const std::vector<std::string>& words);

}  // namespace kt
