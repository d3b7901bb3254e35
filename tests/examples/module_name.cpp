// The toolkit's text and property helpers trace under a module's name; this is the tests'.
#include "base/module.h"

const KtWchar* const kt::kModuleName = KT_W("tests");
