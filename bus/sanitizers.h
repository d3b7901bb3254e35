// Which sanitizer this is built with: some of what makes the bus fast hides from them what they are
// to see.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define KT_ADDRESS_IS_SANITIZED
#endif
#if defined(__SANITIZE_THREAD__)
#define KT_THREADS_ARE_SANITIZED
#endif
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KT_ADDRESS_IS_SANITIZED
#endif
#if __has_feature(thread_sanitizer)
#define KT_THREADS_ARE_SANITIZED
#endif
#endif
