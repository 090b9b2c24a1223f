#ifndef EGRESS_SNAPSHOT_EXPORT_H
#define EGRESS_SNAPSHOT_EXPORT_H

#include "egress/export.h"

// EGRESS_SNAPSHOT_EXPORT marks the functions that the shared library exports. All libraries of an
// installation are of one kind, so EGRESS_SHARED is that of egress/export.h.
#if defined(EGRESS_SHARED) && defined(_WIN32) && defined(EGRESS_SNAPSHOT_BUILDING)
#define EGRESS_SNAPSHOT_EXPORT __declspec(dllexport)
#elif defined(EGRESS_SHARED) && defined(_WIN32)
#define EGRESS_SNAPSHOT_EXPORT __declspec(dllimport)
#elif defined(EGRESS_SHARED)
#define EGRESS_SNAPSHOT_EXPORT __attribute__((visibility("default")))
#else
#define EGRESS_SNAPSHOT_EXPORT
#endif

#endif
