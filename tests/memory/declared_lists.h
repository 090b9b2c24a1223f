#ifndef EGRESS_TESTS_MEMORY_DECLARED_LISTS_H
#define EGRESS_TESTS_MEMORY_DECLARED_LISTS_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "egress/core/status_words.h"

namespace egress::test {

// A list of declared words, its getter and its expected contents.
struct DeclaredList {
  std::string_view name;
  const std::vector<std::string>& (*get)();
  std::vector<std::string> (*expected)();
};

// The words of the values from 0 to `last`, without a call to a declared list.
template <typename Status, Status last>
std::vector<std::string> wordsUpTo() {
  std::vector<std::string> words;
  for (std::uint32_t number = 0; number <= static_cast<std::uint32_t>(last); ++number) {
    words.emplace_back(toString(Status{number}));
  }
  return words;
}

template <auto last>
constexpr DeclaredList declaredList(std::string_view name,
                                    const std::vector<std::string>& (*get)()) {
  return {.name = name, .get = get, .expected = wordsUpTo<decltype(last), last>};
}

inline constexpr std::array<DeclaredList, 8> kDeclaredLists = {
    declaredList<ConfigStatus::AUTO_DETECT_INVALID>("config status", declaredConfigStatus),
    declaredList<EgressSelectionPolicy::unknown>("policy", declaredEgressSelectionPolicy),
    declaredList<ActiveEndpointStatus::TRANSPORT_UNKNOWN>("endpoint", declaredActiveEndpointStatus),
    declaredList<SelectionStatus::ADDRESS_INTERFACE_AMBIGUOUS>("selection",
                                                               declaredSelectionStatus),
    declaredList<InterfacesStatus::ADAPTER_ENUM_FAILED>("interfaces", declaredInterfacesStatus),
    declaredList<DefaultRoutesStatus::SNAPSHOT_INCONSISTENT>("routes", declaredDefaultRoutesStatus),
    declaredList<SocketSourcesStatus::SOCKET_ENUM_FAILED>("sources", declaredSocketSourcesStatus),
    declaredList<InterfaceOrdinalStatus::ROUTE_INTERFACE_UNMAPPED>("ordinal",
                                                                   declaredInterfaceOrdinalStatus),
};

}  // namespace egress::test

#endif
