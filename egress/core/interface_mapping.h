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

// The distinct interface indexes of a snapshot, ascending. An interface's ordinal, the number that
// a report shows in place of the system's index, is its place in this list, counted from 1; it
// means something inside one report only.
struct OrdinalTable {
  std::vector<std::uint32_t> interfaceIndexes;
};

// Takes every row, whether the snapshot failed or not.
[[nodiscard]] OrdinalTable makeOrdinalTable(const AdapterSnapshot& adapters);

// The ordinal of an index, or nothing when the table does not hold it.
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
using Ipv6Owner = AddressOwner<std::array<std::uint64_t, 2>>;  // its high half and its low half

// All addresses of a snapshot's adapters, parsed once for any number of look-ups; each list by
// address, then by ordinal, without repeats.
struct AddressTable {
  std::vector<Ipv4Owner> ipv4;
  std::vector<Ipv6Owner> ipv6;
};

// Leaves out addresses that are not numeric and adapters that `ordinalTable` does not hold.
[[nodiscard]] AddressTable makeAddressTable(const AdapterSnapshot& adapters,
                                            const OrdinalTable& ordinalTable);

// Which interface owns the address that `addressText` spells. Rows that share an interface index
// are one interface. Text that is no numeric address is unmapped.
[[nodiscard]] InterfaceMapping mapAddressToInterface(const AddressTable& addressTable,
                                                     std::string_view addressText) noexcept;

// The same for a single look-up, straight from the snapshot; every call parses all its addresses.
// Throws only when memory runs out.
[[nodiscard]] InterfaceMapping mapAddressToInterface(const AdapterSnapshot& adapters,
                                                     const OrdinalTable& ordinalTable,
                                                     std::string_view addressText);

}  // namespace egress

#endif
