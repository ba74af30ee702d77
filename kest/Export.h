#pragma once

/// Marks what the library offers to its hosts. Everything else stays inside: the compiler's default
/// visibility is hidden, and the Windows linker exports only what is marked.
#if defined(_WIN32)
#if defined(KEST_BUILDING)
#define KEST_API __declspec(dllexport)
#else
#define KEST_API __declspec(dllimport)
#endif
#else
#define KEST_API __attribute__((visibility("default")))
#endif
