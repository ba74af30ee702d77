#pragma once

/// KEST_THREAD_SANITIZER is defined in a build with the thread sanitizer, which does not know every
/// call of the system. Where it would see a race that is none, another call does the same.
#if defined(__SANITIZE_THREAD__)
#define KEST_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KEST_THREAD_SANITIZER 1
#endif
#endif
