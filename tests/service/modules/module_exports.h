// How a small module exports a function, or takes one from another library.
#pragma once

#include <cstdint>

#include "ktbus3/ktbus3.h"

#ifdef _WIN32
#define KT_TEST_EXPORT extern "C" __declspec(dllexport)
#define KT_TEST_IMPORT extern "C" __declspec(dllimport)
#else
#define KT_TEST_EXPORT extern "C" __attribute__((visibility("default")))
#define KT_TEST_IMPORT extern "C"
#endif
