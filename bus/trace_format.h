// Trace texts: the formats of the Microsoft C run-time, on every target, with arguments read the
// way that run-time reads them (%lu takes 32 bits), whatever size a `long` has here.
#pragma once

#include <cstdarg>
#include <string>

namespace kt::bus {

// A va_list as one object, so that it can be handed on by reference.
struct Arguments {
  va_list list;
};

// The formatted text. Throws std::bad_alloc.
//   %s %hs    narrow text          %S %ls %ws  UTF-16 text, made UTF-8
//   %c %hc    narrow character     %C %lc      UTF-16 unit, made UTF-8
//   %d %i %u %x %X %o   32 bits; h and hh narrow it, l changes nothing; ll, I64, j, z, t, I: 64
//   %p        16 upper-case digits %e %f %g %a and capitals: a double
// Flags, width and precision, '*' included, hold for all; widths are counted in bytes and bounded.
// A null text prints "(null)". A conversion that is none is printed as it stands and takes nothing.
std::string FormatTrace(const char* format, Arguments& arguments);

}  // namespace kt::bus
