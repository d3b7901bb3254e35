#include "bus/trace_file.h"

namespace kt::bus {

std::FILE* OpenTraceFile(const char* path) {
  return std::fopen(path, "abe");
}

}  // namespace kt::bus
