// Lock annotations, checked by clang's thread-safety analysis (the dev preset) and empty for other
// compilers.
#pragma once

#if defined(__clang__)
#define KT_ANNOTATION(x) __attribute__((x))
#else
#define KT_ANNOTATION(x)
#endif

#define KT_CAPABILITY(name) KT_ANNOTATION(capability(name))
#define KT_SCOPED_CAPABILITY KT_ANNOTATION(scoped_lockable)
#define KT_GUARDED_BY(lock) KT_ANNOTATION(guarded_by(lock))
#define KT_PT_GUARDED_BY(lock) KT_ANNOTATION(pt_guarded_by(lock))
#define KT_REQUIRES(...) KT_ANNOTATION(requires_capability(__VA_ARGS__))
#define KT_ACQUIRE(...) KT_ANNOTATION(acquire_capability(__VA_ARGS__))
#define KT_RELEASE(...) KT_ANNOTATION(release_capability(__VA_ARGS__))
#define KT_EXCLUDES(...) KT_ANNOTATION(locks_excluded(__VA_ARGS__))
#define KT_ACQUIRED_AFTER(...) KT_ANNOTATION(acquired_after(__VA_ARGS__))
#define KT_ACQUIRED_BEFORE(...) KT_ANNOTATION(acquired_before(__VA_ARGS__))
#define KT_RETURN_CAPABILITY(lock) KT_ANNOTATION(lock_returned(lock))
#define KT_NO_THREAD_SAFETY_ANALYSIS KT_ANNOTATION(no_thread_safety_analysis)
