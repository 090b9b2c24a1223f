#ifndef EGRESS_EXPORT_H
#define EGRESS_EXPORT_H

#if __cplusplus < 202002L && !(defined(_MSVC_LANG) && _MSVC_LANG >= 202002L)
#error "egress needs C++20"
#endif

// EGRESS_EXPORT stands before each function that a shared library shows to its users, who define
// EGRESS_SHARED; its own build defines EGRESS_BUILDING, too. CMake and pkg-config see to both. It
// is empty for a static library, so that a host's own shared library does not show these functions
// as if they were the host's.
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
