#ifndef EGRESS_SNAPSHOT_DIAGNOSE_SNAPSHOT_H
#define EGRESS_SNAPSHOT_DIAGNOSE_SNAPSHOT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "egress/core/diagnosis.h"
#include "egress/core/diagnosis_input.h"
#include "egress_snapshot/cross_check.h"
#include "egress_snapshot/export.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::snapshot {

// The core's input: the same rows, of the sockets those that count, without facts and the names of
// interfaces.
//
// - The core starts at the outbound tagged kStartTag. If the record has a main tag, the two tags
//   change places in every outbound, answer and the hint, so that the walk starts at the main tag
//   and costs no follow more.
// - A server that is a resolved name becomes an address: the first to which counted sockets go at
//   the outbound's port, else the first with connection attempts, else the first of all.
//
// Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT DiagnosisInput
toInput(const HostSnapshot& snapshot, CountedSockets counted = CountedSockets::TCP);

// Diagnoses that input. The tags in the result are those of the record.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT Diagnosis
diagnose(const HostSnapshot& snapshot, CountedSockets counted = CountedSockets::TCP);

// Diagnoses the configuration and the answers alone, as if there were no adapter, route and socket:
// how far the walk gets, and what it needs next. Of a name's addresses, the first is taken.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT Diagnosis diagnoseWay(const HostSnapshot& snapshot);

// What one address of the server gives.
struct AddressFinding {
  std::string address;  // of the endpoint, as configured or resolved; empty unless its status is OK
  Diagnosis diagnosis;
  CrossCheck crossCheck;
};

// The addresses of one server that are diagnosed; others are ignored.
inline constexpr std::size_t kMaxAddresses = 16;

// Diagnoses the record for each address of the endpoint that the engine uses, without cross-checks.
// The first one is that of diagnose(); there are others only if the server is a resolved name and
// the engine has sockets to several of its addresses. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::vector<AddressFinding> diagnoseAddresses(
    const HostSnapshot& snapshot, CountedSockets counted = CountedSockets::TCP);

// Adds the cross-checks with the record, which may have more facts than it had before.
EGRESS_SNAPSHOT_EXPORT void crossCheckAddresses(const HostSnapshot& snapshot,
                                                std::vector<AddressFinding>& findings,
                                                CountedSockets counted = CountedSockets::TCP);

// The interface that a finding names: the cross-check's, or the diagnosis's if the cross-check is
// UNKNOWN. Nothing if it names none.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::optional<std::uint32_t> interfaceNamedBy(
    const AddressFinding& finding);

// Whether all findings name the same interface, or all name none.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT bool doAgree(const std::vector<AddressFinding>& findings);

}  // namespace egress::snapshot

#endif
