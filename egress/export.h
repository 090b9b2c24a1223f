#ifndef EGRESS_EXPORT_H
#define EGRESS_EXPORT_H

#if __cplusplus < 202002L && !(defined(_MSVC_LANG) && _MSVC_LANG >= 202002L)
#error "egress needs C++20"
#endif

// EGRESS_EXPORT marks the functions that a shared library exports. Its users define EGRESS_SHARED,
// its own build also EGRESS_BUILDING; CMake and pkg-config do this. For a static library the macro
// is empty, so that a host's own shared library does not re-export these functions.
#if !defined(EGRESS_SHARED)
#define EGRESS_EXPORT
#elif !defined(_WIN32)
#define EGRESS_EXPORT __attribute__((visibility("default")))
#elif defined(EGRESS_BUILDING)
#define EGRESS_EXPORT __declspec(dllexport)
#else
#define EGRESS_EXPORT __declspec(dllimport)
#endif

#endif
