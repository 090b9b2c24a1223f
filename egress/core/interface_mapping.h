#ifndef EGRESS_CORE_INTERFACE_MAPPING_H
#define EGRESS_CORE_INTERFACE_MAPPING_H

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "egress/config/numeric_address.h"
#include "egress/core/diagnosis_input.h"

namespace egress {

// The distinct interface indexes of a snapshot, ascending. The ordinal of an interface is its
// 1-based position in this list. Reports show it instead of the system's index, and it is valid
// only inside one report.
struct OrdinalTable {
  std::vector<std::uint32_t> interfaceIndexes;
};

// Uses every row, even of a failed snapshot.
[[nodiscard]] OrdinalTable makeOrdinalTable(const AdapterSnapshot& adapters);

// The ordinal of an index, or nothing if it is not in the table.
[[nodiscard]] std::optional<std::int64_t> ordinalOf(const OrdinalTable& ordinalTable,
                                                    std::uint32_t interfaceIndex) noexcept;

enum class MappingKind : std::uint32_t {
  Unmapped,   // no interface owns the address
  Unique,     // exactly one does
  Ambiguous,  // several do
};

// The interface that owns an address.
struct InterfaceMapping {
  MappingKind kind = MappingKind::Unmapped;
  std::int64_t ordinal = 0;  // of the one interface; 0 unless Unique
};

// An address and the ordinal of an interface that owns it.
template <typename Address>
struct AddressOwner {
  Address address{};
  std::int64_t ordinal = 0;
};

using Ipv4Owner = AddressOwner<std::uint32_t>;                 // the address as a number
using Ipv6Owner = AddressOwner<std::array<std::uint64_t, 2>>;  // high half, low half

// All addresses of a snapshot's adapters, parsed once for all look-ups. Each list is sorted by
// address, then by ordinal, and has no duplicates.
struct AddressTable {
  std::vector<Ipv4Owner> ipv4;
  std::vector<Ipv6Owner> ipv6;
};

// Skips addresses that are not numeric and adapters that are not in `ordinalTable`.
[[nodiscard]] AddressTable makeAddressTable(const AdapterSnapshot& adapters,
                                            const OrdinalTable& ordinalTable);

// The interface that owns the address in `addressText`. Rows with the same interface index are one
// interface. Text that is not a numeric address is unmapped.
[[nodiscard]] InterfaceMapping mapAddressToInterface(const AddressTable& addressTable,
                                                     std::string_view addressText) noexcept;

// The same for a single look-up: every call parses all addresses of the snapshot.
// Throws only when memory runs out.
[[nodiscard]] InterfaceMapping mapAddressToInterface(const AdapterSnapshot& adapters,
                                                     const OrdinalTable& ordinalTable,
                                                     std::string_view addressText);

}  // namespace egress

#endif
