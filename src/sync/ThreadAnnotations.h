#ifndef VEL_SYNC_THREADANNOTATIONS_H_
#define VEL_SYNC_THREADANNOTATIONS_H_

// Which lock guards which field, and which functions take or need a lock, in a
// form that clang checks (-Wthread-safety). Empty under other compilers.
#if defined(__clang__)
#define VEL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VEL_THREAD_ANNOTATION(x)
#endif

// On a lock class, and on a scope class that holds a lock for its lifetime.
#define VEL_CAPABILITY(name) VEL_THREAD_ANNOTATION(capability(name))
#define VEL_SCOPED_CAPABILITY VEL_THREAD_ANNOTATION(scoped_lockable)
// On a field: read and written only under the lock.
#define VEL_GUARDED_BY(lock) VEL_THREAD_ANNOTATION(guarded_by(lock))
// On a function: the caller holds, or must not hold, the lock.
#define VEL_REQUIRES(...) \
  VEL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define VEL_REQUIRES_SHARED(...) \
  VEL_THREAD_ANNOTATION(requires_shared_capability(__VA_ARGS__))
#define VEL_EXCLUDES(...) VEL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
// On a function: it takes or releases the lock.
#define VEL_ACQUIRE(...) VEL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define VEL_ACQUIRE_SHARED(...) \
  VEL_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define VEL_TRY_ACQUIRE(...) \
  VEL_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define VEL_RELEASE(...) VEL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define VEL_RELEASE_SHARED(...) \
  VEL_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define VEL_RELEASE_GENERIC(...) \
  VEL_THREAD_ANNOTATION(release_generic_capability(__VA_ARGS__))
// On a function that implements a lock out of others.
#define VEL_NO_THREAD_ANALYSIS VEL_THREAD_ANNOTATION(no_thread_safety_analysis)

#endif  // VEL_SYNC_THREADANNOTATIONS_H_
