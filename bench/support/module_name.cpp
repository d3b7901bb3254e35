#include "base/module.h"

// The programs that have the toolkit in them are a module of their own.
const KtWchar* const kt::kModuleName = KT_W("bench");
