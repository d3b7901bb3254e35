// A provider whose Shutdown waits until the file that KTSVC_TEST_GATE names is there.

#include "module_frame.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace test_module {
namespace {

KtStatus WaitForGate(std::uint64_t /*argument*/) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
  const char* gate = std::getenv("KTSVC_TEST_GATE");
  std::error_code error;
  while (gate != nullptr && !std::filesystem::exists(gate, error)) {
    KtSleep(10);
  }
  return 0;
}

}  // namespace

const KtWchar* const kProviderName = KT_W("slow");
const KtProviderTable kProviderTable{Control, Initialize,   WaitForGate,
                                     GetAttr, ChangeNotify, Version};

}  // namespace test_module
