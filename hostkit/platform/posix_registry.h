// The registry on a system that has none: folders are keys, files are values.
//
// The tree stands in the folder that KT_REGISTRY names, in /etc/ktsvc/registry without it, and
// below that in HKEY_LOCAL_MACHINE. A value is UTF-8; one trailing line feed is not part of it, and
// an empty file is a value of size 0. Names compare without regard to the case of A to Z. Where two
// folders differ in case alone they are one key, whose values are those of both, the folder named
// exactly as asked first.
//
// Threads:   any.
// Failure:   an error number of errno.h; nothing throws but std::bad_alloc.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/text.h"
#include "ktbus3/ktbus3.h"

namespace kt {

class PosixRegistryKey {
 public:
  // The key of that path, separated by backslashes, below HKEY_LOCAL_MACHINE. Returns 0 or ENOENT.
  [[nodiscard]] int Open(const KtWchar* path);

  // The value as UTF-16, up to its first zero if it has one. `present` tells an empty text (false
  // for an empty file) from a value of no size at all. EILSEQ for a file that is not UTF-8, EFBIG
  // for one of more than a mebibyte.
  [[nodiscard]] int Read(const KtWchar* name, KtWString& value, bool& present) const;

 private:
  std::vector<std::string> folders_;  // all folders that are this key
};

}  // namespace kt
