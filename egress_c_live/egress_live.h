#ifndef EGRESS_C_LIVE_EGRESS_LIVE_H
#define EGRESS_C_LIVE_EGRESS_LIVE_H

#include <stddef.h>
#include <stdint.h>

#include "egress_c/egress.h"

/* Snapshots of the machine that the process runs on. The rules of egress.h hold here, too. */

#if defined(_WIN32) && defined(EGRESS_C_LIVE_BUILDING)
#define EGRESS_C_LIVE_EXPORT __declspec(dllexport)
#elif defined(_WIN32)
#define EGRESS_C_LIVE_EXPORT __declspec(dllimport)
#elif defined(__GNUC__)
#define EGRESS_C_LIVE_EXPORT __attribute__((visibility("default")))
#else
#define EGRESS_C_LIVE_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A snapshot with the adapters and default routes of this machine, the sockets of the engine, and
 * the system's routes for those to the endpoint. It replaces all that `snapshot`, for example one
 * of egress_read_config, says of a host: `processes`, `listeningAt`, `adapters`, `routes`,
 * `sockets`, `observedSeconds`, the facts that are missing of sockets, and in `origin` `time` and
 * `system`. The rest is that of `snapshot`.
 *
 * The engine is the process with this ID, or are the processes with this name, all of one user. A
 * name is chosen by whoever starts a process: look at `processes`. To see sockets, the caller has
 * to be root, to have CAP_SYS_PTRACE and CAP_DAC_READ_SEARCH, or to be the processes' user; a list
 * that cannot be taken has `enumFailed` and the reason.
 *
 * EGRESS_NO_PROCESS: there is none, it is in another network namespace, or they are of different
 * users. EGRESS_REFUSED: `snapshot` is not a snapshot. Reading /proc ends after
 * 30 s, then the list of sockets has failed. */
EGRESS_C_LIVE_EXPORT const egress_result* egress_take_snapshot_of_process(const char* snapshot,
                                                                          size_t snapshotLength,
                                                                          uint32_t processId);
EGRESS_C_LIVE_EXPORT const egress_result* egress_take_snapshot_of_name(const char* snapshot,
                                                                       size_t snapshotLength,
                                                                       const char* name,
                                                                       size_t nameLength);

#ifdef __cplusplus
}
#endif

#endif
