// What a thread keeps for itself and every call looks at.
//
// In a shared library the system finds such a thing by a call, since the library may come after the
// threads. Here room for it is asked for when the library is loaded, so that it is found by two
// loads. There is little such room for libraries that a running program loads (about 1,700 bytes
// with the GNU library, for all of them), so that only small things that every call needs are kept
// this way: at present some hundred bytes.
#pragma once

#if defined(__ELF__)
#define KT_FOUND_BY_LOADS __attribute__((tls_model("initial-exec")))
#else
#define KT_FOUND_BY_LOADS
#endif
