// BROKEN ON PURPOSE: it exports its insides.
//
// Two functions that nobody outside calls are visible, and on Linux it is linked without a version
// script, so that whatever its libraries bring into it is as well. ktcheck says: export-extra.

#include "broken.h"

#if defined(_WIN32)
#define OUTSPOKEN __declspec(dllexport)
#else
#define OUTSPOKEN __attribute__((visibility("default")))
#endif

namespace broken {

OUTSPOKEN int Half(int number);
OUTSPOKEN int Twice(int number);

int Half(int number) {
  return number / 2;
}
int Twice(int number) {
  return number * 2;
}

const KtWchar* const kName = KT_W("outspoken");
const KtProviderTable kTable{Control, Initialize, Shutdown, GetAttr, ChangeNotify, Version};
void (*const kAtUnload)() = nullptr;

}  // namespace broken
