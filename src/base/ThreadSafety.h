#pragma once

// The attributes of clang's thread-safety analysis; nothing for other compilers.
#ifdef __clang__
#define ZUL_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZUL_THREAD_ATTRIBUTE(x)
#endif

#define ZUL_CAPABILITY(x) ZUL_THREAD_ATTRIBUTE(capability(x))
#define ZUL_SCOPED_CAPABILITY ZUL_THREAD_ATTRIBUTE(scoped_lockable)
#define ZUL_GUARDED_BY(x) ZUL_THREAD_ATTRIBUTE(guarded_by(x))
#define ZUL_REQUIRES(...) ZUL_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ZUL_EXCLUDES(...) ZUL_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ZUL_ACQUIRE(...) ZUL_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ZUL_RELEASE(...) ZUL_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define ZUL_TRY_ACQUIRE(...) ZUL_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define ZUL_ASSERT_CAPABILITY(x) ZUL_THREAD_ATTRIBUTE(assert_capability(x))
#define ZUL_NO_THREAD_SAFETY_ANALYSIS ZUL_THREAD_ATTRIBUTE(no_thread_safety_analysis)
