// The trace file's opening: trace_file_posix.cpp and trace_file_win32.cpp.
#pragma once

#include <cstdio>

namespace kt::bus {

// Opens the file of that UTF-8 path for appending; null when that is impossible. Throws when the
// path cannot be turned into the system's form.
std::FILE* OpenTraceFile(const char* path);

}  // namespace kt::bus
