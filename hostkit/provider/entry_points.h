// What a provider module exports: two functions and nothing else.
#pragma once

#include <cstdint>

#include "ktbus3/ktbus3.h"

// On Windows the list of exports is a file of its own (cmake/provider.def).
#if defined(_WIN32)
#define KT_EXPORT
#else
#define KT_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {

// Told of the module's life in the process; always true (1).
//   reason 1  attach: starts the run-time library where that is the module's task, remembers the
//             instance.
//   reason 0  detach: releases everything that the module still owns (provider/module_state.h),
//             ends the run-time library, forgets the instance. Not released when the process is
//             ending (`reserved` not null): other threads are gone, and may have left locks held.
//   others    nothing.
// On Windows this is the entry point of the PE file and the system calls it. Elsewhere whoever
// loads the module does: reason 1 after dlopen, reason 0 before dlclose.
KT_EXPORT int DllInit(void* instance, std::uint32_t reason, void* reserved);

// Fills `table` with the six functions when `name` is the module's name, unit by unit, terminator
// included, and returns 0; KTERROR_WRONG_PROVIDER for any other name, with the table untouched;
// E_INVALIDARG for a null name, or for a null table with the right name. `reserved` is not read.
KT_EXPORT KtStatus ProviderEntry(const KtWchar* name, void* reserved, KtProviderTable* table);
}
