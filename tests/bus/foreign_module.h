// A library of its own beside the test program: what it asks of the framework comes from an address
// range that is not the program's.
#pragma once

#include <cstddef>

#include "ktbus3/ktbus3.h"

#if defined(_WIN32) && defined(FOREIGN_MODULE_BUILD)
#define FOREIGN_API __declspec(dllexport)
#elif defined(_WIN32)
#define FOREIGN_API
#else
#define FOREIGN_API __attribute__((visibility("default")))
#endif

extern "C" {

// An address inside the library.
FOREIGN_API const void* ForeignModuleAddress();

// Calls to the framework from inside the library; the results are the caller's.
FOREIGN_API void* ForeignModuleAlloc(size_t size);
FOREIGN_API KtPropset ForeignModulePropset();
}
