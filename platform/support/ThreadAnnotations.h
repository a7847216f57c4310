// Clang's thread-safety annotations; nothing for other compilers. They are macros because the language
// has no other way to make an attribute depend on the compiler.
#pragma once

#if defined(__clang__)
#define SPS_THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define SPS_THREAD_ANNOTATION(attribute)
#endif

// A class that is a lock, and one that holds a lock for its lifetime.
#define SPS_LOCK SPS_THREAD_ANNOTATION(capability("mutex"))
#define SPS_LOCK_HOLDER SPS_THREAD_ANNOTATION(scoped_lockable)
// A field that is touched only under the lock; a function that is called only under it.
#define SPS_GUARDED_BY(lock) SPS_THREAD_ANNOTATION(guarded_by(lock))
#define SPS_REQUIRES(...) SPS_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
// Functions that take and give back the lock.
#define SPS_ACQUIRE(...) SPS_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define SPS_RELEASE(...) SPS_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
