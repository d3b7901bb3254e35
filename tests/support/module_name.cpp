#include "base/module.h"

// The suites of the toolkit are a module of their own, under the name that their expected trace
// lines begin with.
const KtWchar* const kt::kModuleName = KT_W("hostkit");
