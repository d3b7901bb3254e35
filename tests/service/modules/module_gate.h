// A gate that the test opens: the file that KTSVC_TEST_GATE names.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "ktbus3/ktbus3.h"

namespace test_module {

// Waits until the file is there; not at all when no file is named.
inline void WaitForGate() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
  const char* gate = std::getenv("KTSVC_TEST_GATE");
  std::error_code error;
  while (gate != nullptr && !std::filesystem::exists(gate, error)) {
    KtSleep(10);
  }
}

}  // namespace test_module
