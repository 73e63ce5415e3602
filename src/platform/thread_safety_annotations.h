#pragma once
// Clang's thread-safety attributes under short names. Other compilers see
// nothing; the clang build checks every lock and every guarded member with
// -Wthread-safety -Werror.

#if defined(__clang__)
#define QX_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QX_THREAD_ANNOTATION(x)
#endif

#define QX_CAPABILITY(name) QX_THREAD_ANNOTATION(capability(name))
#define QX_SCOPED_CAPABILITY QX_THREAD_ANNOTATION(scoped_lockable)
#define QX_GUARDED_BY(mutex) QX_THREAD_ANNOTATION(guarded_by(mutex))
#define QX_PT_GUARDED_BY(mutex) QX_THREAD_ANNOTATION(pt_guarded_by(mutex))
#define QX_ACQUIRED_BEFORE(...) QX_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define QX_ACQUIRED_AFTER(...) QX_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define QX_REQUIRES(...) QX_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define QX_EXCLUDES(...) QX_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define QX_ACQUIRE(...) QX_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QX_RELEASE(...) QX_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define QX_TRY_ACQUIRE(...) QX_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define QX_ASSERT_CAPABILITY(mutex) QX_THREAD_ANNOTATION(assert_capability(mutex))
#define QX_RETURN_CAPABILITY(mutex) QX_THREAD_ANNOTATION(lock_returned(mutex))
// For the few functions whose locking the analysis cannot follow; each use
// says why beside it.
#define QX_NO_THREAD_SAFETY_ANALYSIS QX_THREAD_ANNOTATION(no_thread_safety_analysis)

// Shared (reader) holds of a capability, for shared_mutex_class and its
// scoped_shared_lock_class.
#define QX_ACQUIRE_SHARED(...) QX_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define QX_RELEASE_SHARED(...) QX_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define QX_REQUIRES_SHARED(...) QX_THREAD_ANNOTATION(requires_shared_capability(__VA_ARGS__))
