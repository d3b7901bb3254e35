// The failure rule, the statuses that the framework gives, and the one way in which its C functions
// answer.
#pragma once

#include <cstdint>
#include <exception>
#include <new>

#include "ktbus3/ktbus3.h"

namespace kt::bus {

inline constexpr KtStatus kOk = 0;
inline constexpr KtStatus kUnexpected = 0xC1000001;
inline constexpr KtStatus kNoObject = 0xC1000010;
inline constexpr KtStatus kNoProperty = 0xC1000011;
inline constexpr KtStatus kUnchanged = 0x41000012;
inline constexpr KtStatus kPropertyExists = 0xC1000013;
inline constexpr KtStatus kNoMoreProperties = 0xC1000014;
inline constexpr KtStatus kDuplicateInterface = 0xC1000029;
inline constexpr KtStatus kAlertPublished = 0xC100002D;
inline constexpr KtStatus kAlertNotPublished = 0xC100002E;
inline constexpr KtStatus kBadInheritance = 0xC1000037;
inline constexpr KtStatus kTypeExists = 0xC1000038;
inline constexpr KtStatus kUnknownType = 0xC1000039;
inline constexpr KtStatus kNotImplemented = 0x80004001;
inline constexpr KtStatus kInvalidArgument = 0x80070057;
inline constexpr KtStatus kOutOfMemory = 0x8007000E;

// True when the status is a failure: the rule of ktbus3.h. What comes from a provider is judged by
// it; the framework's own calls among themselves know no other success than kOk.
constexpr bool StatusFails(KtStatus status) noexcept {
  const KtStatus facility = (status >> 16U) & 0xFFFU;
  if (facility == 0x100U) return (status >> 30U) == 3U;
  return facility == 0 ? status != 0 : (status >> 31U) != 0;
}
static_assert(!StatusFails(kOk) && !StatusFails(kUnchanged) && StatusFails(5));
static_assert(StatusFails(kUnexpected) && !StatusFails(0x81000001) && StatusFails(kOutOfMemory));

// A status on its way out of the framework's insides. Nothing of it leaves a C function.
class StatusError final : public std::exception {
 public:
  explicit StatusError(KtStatus status) noexcept : status_(status) {}
  [[nodiscard]] KtStatus status() const noexcept { return status_; }

 private:
  KtStatus status_;
};

// Runs the body of a C function. The body returns a status or throws.
template <typename Body>
KtStatus Answer(Body&& body) noexcept {
  try {
    return body();
  } catch (const StatusError& error) {
    return error.status();
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  } catch (...) {
    return kUnexpected;
  }
}

}  // namespace kt::bus
