// A program with everything that a page or a script could trip over.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>

namespace apptext_test {

// Commands: `sample show [WHAT]` (also `look`), `sample group add NAME...`, `sample secret`, which
// is hidden. Nothing refers to it when it goes.
std::unique_ptr<CLI::App> SampleProgram();

}  // namespace apptext_test
