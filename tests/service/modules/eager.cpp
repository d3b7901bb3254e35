// A provider whose static initialiser makes the file that KTSVC_TEST_WITNESS names.

#include <cstdlib>
#include <fstream>

#include "module_frame.h"

namespace test_module {
namespace {

bool Witness() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
  const char* file = std::getenv("KTSVC_TEST_WITNESS");
  return file != nullptr && std::ofstream(file).is_open();
}

[[maybe_unused]] const bool kWitnessed = Witness();

}  // namespace

const KtWchar* const kProviderName = KT_W("eager");
const KtProviderTable kProviderTable{Control, Initialize, Shutdown, GetAttr, ChangeNotify, Version};

}  // namespace test_module
