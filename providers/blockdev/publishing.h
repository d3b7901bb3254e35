// Small helpers for publishing objects of the bus.
#pragma once

#include <cstdint>
#include <functional>

class CKtObject;

namespace kt::blockdev {

// Creates an object of the type, lets `fill` write its properties, and hands its wrapper to the
// custom object container, which owns it from then on; returns the wrapper, lent. When anything
// fails on the way the object is deleted again, and what was thrown is thrown on.
CKtObject* PublishObject(const char* type, const std::function<void(CKtObject&)>& fill);

// To be called while an exception is being handled: one line at level 4 says that `what` (a verb)
// failed for `whom`. Returns the status that was thrown (it was traced there), E_OUTOFMEMORY for
// std::bad_alloc, or KTERROR_UNEXPECTED for anything else, an exception's own words at level 6.
std::uint32_t ReportFailure(const char* what, const char* whom) noexcept;

// Runs a step that must not take anything else down with it. Returns 0, or what ReportFailure()
// makes of the exception.
template <typename Step>
std::uint32_t Try(const char* what, const char* whom, const Step& step) noexcept {
  try {
    step();
    return 0;
  } catch (...) {
    return ReportFailure(what, whom);
  }
}

}  // namespace kt::blockdev
