#include "egress/core/interface_mapping.h"

#include <algorithm>
#include <tuple>

namespace egress {
namespace {

// Four bytes, starting at `first`, as one number.
std::uint32_t wordAt(const NumericAddress& address, std::size_t first) noexcept {
  const std::uint8_t* const bytes = address.bytes.data() + first;
  return (std::uint32_t{bytes[0]} << 24) | (std::uint32_t{bytes[1]} << 16) |
         (std::uint32_t{bytes[2]} << 8) | bytes[3];
}

std::uint32_t ipv4Number(const NumericAddress& address) noexcept {
  return wordAt(address, 0);
}

std::array<std::uint64_t, 2> ipv6Number(const NumericAddress& address) noexcept {
  std::array<std::uint64_t, 2> halves{};
  halves[0] = (std::uint64_t{wordAt(address, 0)} << 32) | wordAt(address, 4);
  halves[1] = (std::uint64_t{wordAt(address, 8)} << 32) | wordAt(address, 12);
  return halves;
}

template <typename Address>
void sortWithoutRepeats(std::vector<AddressOwner<Address>>& owners) {
  using Owner = AddressOwner<Address>;
  const auto precedes = [](const Owner& a, const Owner& b) {
    return std::tie(a.address, a.ordinal) < std::tie(b.address, b.ordinal);
  };
  const auto isRepeat = [](const Owner& a, const Owner& b) {
    return a.address == b.address && a.ordinal == b.ordinal;
  };
  std::ranges::sort(owners, precedes);
  owners.erase(std::unique(owners.begin(), owners.end(), isRepeat), owners.end());
}

// Branch-free lower_bound: look-ups are unpredictable, so the branches of std::lower_bound
// mispredict.
template <typename Address>
const AddressOwner<Address>* firstNotBelow(const std::vector<AddressOwner<Address>>& owners,
                                           const Address& wanted) noexcept {
  const AddressOwner<Address>* first = owners.data();
  for (std::size_t rest = owners.size(); rest > 0;) {
    const std::size_t half = (rest + 1) / 2;
    const auto* const upper = first + half;
    first = upper[-1].address < wanted ? upper : first;
    rest -= half;
  }
  return first;
}

template <typename Address>
InterfaceMapping findOwner(const std::vector<AddressOwner<Address>>& owners,
                           const Address& address) noexcept {
  const AddressOwner<Address>* const end = owners.data() + owners.size();
  const AddressOwner<Address>* const found = firstNotBelow(owners, address);
  if (found == end || found->address != address) return {};
  if (found + 1 != end && found[1].address == address) {
    return {.kind = MappingKind::Ambiguous, .ordinal = 0};
  }
  return {.kind = MappingKind::Unique, .ordinal = found->ordinal};
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
  for (const InterfaceRow& row : adapters.rows) {
    const std::optional<std::int64_t> ordinal = ordinalOf(ordinalTable, row.interfaceIndex);
    if (!ordinal) continue;
    for (const std::string& text : row.addresses) {
      const NumericAddress address = parseNumericAddress(text);
      if (address.family == 4) table.ipv4.push_back({ipv4Number(address), *ordinal});
      if (address.family == 6) table.ipv6.push_back({ipv6Number(address), *ordinal});
    }
  }
  sortWithoutRepeats(table.ipv4);
  sortWithoutRepeats(table.ipv6);
  return table;
}

InterfaceMapping mapAddressToInterface(const AddressTable& addressTable,
                                       std::string_view addressText) noexcept {
  const NumericAddress address = parseNumericAddress(addressText);
  if (address.family == 4) return findOwner(addressTable.ipv4, ipv4Number(address));
  if (address.family == 6) return findOwner(addressTable.ipv6, ipv6Number(address));
  return {};
}

InterfaceMapping mapAddressToInterface(const AdapterSnapshot& adapters,
                                       const OrdinalTable& ordinalTable,
                                       std::string_view addressText) {
  return mapAddressToInterface(makeAddressTable(adapters, ordinalTable), addressText);
}

}  // namespace egress
