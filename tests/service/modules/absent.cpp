// The library that is not there any more when it is looked for.

#include "module_exports.h"

KT_TEST_EXPORT int AbsentNumber() {
  return 0;
}
