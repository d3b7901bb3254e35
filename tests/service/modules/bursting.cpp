// A module whose ProviderEntry lets an exception out, of a class of its own: only code of the
// module can destroy it.

#include <string>

#include "module_exports.h"

namespace {

class OwnException {
 public:
  OwnException() = default;
  OwnException(const OwnException&) = default;
  OwnException& operator=(const OwnException&) = default;
  virtual ~OwnException() { text_.clear(); }

 private:
  std::string text_ = "thrown by a test, and too long to be kept without a block of memory";
};

}  // namespace

KT_TEST_EXPORT int DllInit(void* /*instance*/, std::uint32_t /*reason*/, void* /*reserved*/) {
  return 1;
}

KT_TEST_EXPORT KtStatus ProviderEntry(const KtWchar* /*name*/, void* /*reserved*/,
                                      KtProviderTable* /*table*/) {
  throw OwnException();
}
