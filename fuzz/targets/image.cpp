// The header of a module's file, read before the system's loader is asked.
//
// Input: the file.

#include <cstring>
#include <string>

#include "module_error.h"
#include "module_image.h"
#include "support/byte_source.h"
#include "support/printable.h"
#include "support/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = kt::fuzz::TextOf(data, size);
  const ktsvc::ImageSource file{size, [&bytes](std::uint64_t at, void* to, std::size_t count) {
                                  if (at > bytes.size() || count > bytes.size() - at) return false;
                                  std::memcpy(to, bytes.data() + at, count);
                                  return true;
                                }};
  const auto kind = ktsvc::KindOf(file);
  const ktsvc::ImageKind elf{ktsvc::ImageFormat::kElf, 62, 64, false};
  const ktsvc::ImageKind pe{ktsvc::ImageFormat::kPe, 0x8664, 64, false};
  for (const ktsvc::ImageKind& program : {elf, pe}) {
    try {
      ktsvc::RequireLoadable(file, program);
      kt::fuzz::Require(kind == program, "what is loadable is of the program's own kind");
    } catch (const ktsvc::ModuleError& error) {
      kt::fuzz::RequirePrintable(error.what(), "a reason can be shown");
    }
  }
  return 0;
}
