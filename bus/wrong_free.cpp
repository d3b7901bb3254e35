#include "bus/wrong_free.h"

#include "bus/memory.h"
#include "bus/property_set.h"
#include "bus/trace.h"

namespace kt::bus {

void ReportWrongFree(Account& asker, const void* thing, const char* function) noexcept {
  Kind kind = Kind::kBlock;
  if (const auto block = KindOfBlock(thing)) {
    kind = *block;
  } else if (const auto handle = KindOfHandle(thing)) {
    kind = *handle;
  }
  asker.WrongFree(kind);
  WriteTrace(kTraceError, "ktbus3: %s released %p (%s) through the wrong function %s",
             NameInTrace(asker), thing, KindText(kind), function);
}

void ReportWrongFree(Account& asker, Kind kind, const char* function) noexcept {
  asker.WrongFree(kind);
  WriteTrace(kTraceError, "ktbus3: %s released one of its %s through the wrong function %s",
             NameInTrace(asker), KindText(kind), function);
}

const char* NameInTrace(const Account& account) noexcept {
  return account.name().empty() ? "the host" : account.name().c_str();
}

}  // namespace kt::bus
