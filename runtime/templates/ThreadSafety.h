// Lock annotations that clang's -Wthread-safety checks (the TGX_THREAD_SAFETY
// build of scripts/test); other compilers see nothing. Members say which
// capability guards them, functions which they need held, and the lock types
// of this folder say what they acquire and release.
#pragma once

#if defined(__clang__)
#define TGX_TSA(x) __attribute__((x))
#else
#define TGX_TSA(x)
#endif

#define CAPABILITY(x) TGX_TSA(capability(x))
#define SCOPED_CAPABILITY TGX_TSA(scoped_lockable)
#define GUARDED_BY(x) TGX_TSA(guarded_by(x))
#define PT_GUARDED_BY(x) TGX_TSA(pt_guarded_by(x))
#define ACQUIRED_BEFORE(...) TGX_TSA(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) TGX_TSA(acquired_after(__VA_ARGS__))
#define REQUIRES(...) TGX_TSA(requires_capability(__VA_ARGS__))
#define REQUIRES_SHARED(...) TGX_TSA(requires_shared_capability(__VA_ARGS__))
#define ACQUIRE(...) TGX_TSA(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) TGX_TSA(acquire_shared_capability(__VA_ARGS__))
#define RELEASE(...) TGX_TSA(release_capability(__VA_ARGS__))
#define RELEASE_SHARED(...) TGX_TSA(release_shared_capability(__VA_ARGS__))
#define RELEASE_GENERIC(...) TGX_TSA(release_generic_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) TGX_TSA(try_acquire_capability(__VA_ARGS__))
#define EXCLUDES(...) TGX_TSA(locks_excluded(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) TGX_TSA(assert_capability(x))
#define RETURN_CAPABILITY(x) TGX_TSA(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS TGX_TSA(no_thread_safety_analysis)
