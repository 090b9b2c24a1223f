#include "egress/core/interface_mapping.h"

#include <algorithm>
#include <tuple>

namespace egress {
namespace {

// Puts owners of one address next to each other. The parser leaves the unused bytes of an IPv4
// address zero, so all 16 may be compared.
bool addressPrecedes(const AddressOwner& a, const AddressOwner& b) noexcept {
  return std::tie(a.address.family, a.address.bytes) < std::tie(b.address.family, b.address.bytes);
}

bool ownerPrecedes(const AddressOwner& a, const AddressOwner& b) noexcept {
  return std::tie(a.address.family, a.address.bytes, a.ordinal) <
         std::tie(b.address.family, b.address.bytes, b.ordinal);
}

bool sameOwner(const AddressOwner& a, const AddressOwner& b) noexcept {
  return sameNumericAddress(a.address, b.address) && a.ordinal == b.ordinal;
}

}  // namespace

OrdinalTable makeOrdinalTable(const AdapterSnapshot& adapters) {
  OrdinalTable table;
  std::vector<std::uint32_t>& indexes = table.interfaceIndexes;
  indexes.reserve(adapters.rows.size());
  for (const InterfaceRow& row : adapters.rows) indexes.push_back(row.interfaceIndex);
  std::ranges::sort(indexes);
  indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
  return table;
}

std::optional<std::int64_t> ordinalOf(const OrdinalTable& ordinalTable,
                                      std::uint32_t interfaceIndex) noexcept {
  const std::vector<std::uint32_t>& indexes = ordinalTable.interfaceIndexes;
  const auto found = std::ranges::lower_bound(indexes, interfaceIndex);
  if (found == indexes.end() || *found != interfaceIndex) return std::nullopt;
  return (found - indexes.begin()) + 1;
}

AddressTable makeAddressTable(const AdapterSnapshot& adapters, const OrdinalTable& ordinalTable) {
  AddressTable table;
  std::vector<AddressOwner>& owners = table.owners;
  for (const InterfaceRow& row : adapters.rows) {
    const std::optional<std::int64_t> ordinal = ordinalOf(ordinalTable, row.interfaceIndex);
    if (!ordinal) continue;
    for (const std::string& text : row.addresses) {
      const NumericAddress address = parseNumericAddress(text);
      if (address.valid) owners.push_back({.address = address, .ordinal = *ordinal});
    }
  }
  std::ranges::sort(owners, ownerPrecedes);
  owners.erase(std::unique(owners.begin(), owners.end(), sameOwner), owners.end());
  return table;
}

InterfaceMapping mapAddressToInterface(const AddressTable& addressTable,
                                       std::string_view addressText) noexcept {
  const std::vector<AddressOwner>& owners = addressTable.owners;
  const AddressOwner wanted = {.address = parseNumericAddress(addressText)};
  const auto [first, last] =
      std::equal_range(owners.begin(), owners.end(), wanted, addressPrecedes);
  if (first == last) return {};
  if (last - first > 1) return {.kind = MappingKind::Ambiguous, .ordinal = 0};
  return {.kind = MappingKind::Unique, .ordinal = first->ordinal};
}

InterfaceMapping mapAddressToInterface(const AdapterSnapshot& adapters,
                                       const OrdinalTable& ordinalTable,
                                       std::string_view addressText) {
  return mapAddressToInterface(makeAddressTable(adapters, ordinalTable), addressText);
}

}  // namespace egress
