// The six functions that the host gets from ProviderEntry, and the state that guards them.
//
// Each is thin: it checks the flags, then its pointers, then forwards to one virtual operation of
// the provider. The order of the checks is fixed. Shutting down comes first
// (KTERROR_PROVIDER_SHUTTING_DOWN), not initialised second (KTERROR_UNEXPECTED after a line at
// level 6; E_NOTIMPL without one for the version), a null pointer third (E_INVALIDARG, no line).
//
// Threads:   the host may call from several threads; it calls Initialize before anything else and
//            Shutdown after everything else. Shutdown waits all the same, a minute at
//            most, for calls of other threads that passed the flag before it was set, a control or
//            a notice until its manager has it (lifetime/entering_call.h). After that a line at
//            level 4 says so, and the provider object is kept for them until module detach.
// Failure:   Initialize and Shutdown let no exception out. What a control, an attribute call, a
//            notice or a version call throws passes to the host.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "ktbus3/ktbus3.h"

// The names of the six functions are the host's, underscores included.

// Serves one request. Builds the request record around the host's handles, writes the provider
// handle to *providerOut before the control runs, and returns the handler's status. objectId,
// providerOut and value10 (a const KtGuid* of the interface) must not be null.
//
// The two property sets are lent by the host and stay its own, unless the handler asks in the
// request for their release: then both are destroyed before the function ends, thrown or not. A
// set that cannot be destroyed leaves its own line and changes nothing else.
KtStatus __KtApiControl(const KtObjId* objectId, std::uint32_t selector, std::uint32_t controlCode,
                        KtPropset input, KtPropset output, std::uint32_t value6,
                        std::uint32_t value7, std::uint64_t value8, std::uint64_t value9,
                        std::uint64_t value10, std::uint64_t value11, std::uint64_t* providerOut);

// Creates the provider, stores the two handles and starts it. An exception becomes a line at level
// 6 and KTERROR_UNEXPECTED; the provider object stays, marked as not initialised.
KtStatus __KtApiInitialize(KtDatabase database, KtProvider provider);

// Stops and destroys the provider, for good. Returns what the provider's Shutdown returned, or
// KTERROR_UNEXPECTED when that threw. A provider that threw is not run again: its object is
// released when the module is detached.
KtStatus __KtApiShutdown(std::uint64_t argument);

// The third argument is dropped; all are the host's.
KtStatus __KtApiGetAttr(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d);

// `d` points to a KtEventRecord and must not be null; the second argument is dropped.
KtStatus __KtApiChangeNotify(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d);

// Stores a text in *out that the caller frees with _KtFree; `out` must not be null.
KtStatus __KtApiVersion(KtWchar** out);

namespace kt {

// How long a shutdown waits for calls that have passed the flags and not reached a manager.
inline constexpr std::chrono::milliseconds kLongestWait{60'000};

// Constant-initialised and trivially destroyed, because DllInit writes it before
// the run-time library of a Windows module has started and after it has ended.
struct ApiState {
  std::atomic<void*> instance{nullptr};    // what the system passed at process attach
  std::atomic<bool> shutting_down{false};  // set by the first complete Shutdown, never cleared
  std::atomic<bool> initialised{false};
  std::atomic<std::chrono::milliseconds> longest_wait{kLongestWait};  // shorter for tests
};

[[nodiscard]] ApiState& GetApiState() noexcept;

// Back to the state of a module just loaded. For tests: a host gets there by loading it again.
void ResetApiState() noexcept;

}  // namespace kt
