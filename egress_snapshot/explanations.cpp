#include "egress_snapshot/explanations.h"

#include <algorithm>
#include <array>

#include "egress_snapshot/explained_words.h"

namespace egress::snapshot {
namespace {

// Explains the words of one vocabulary.
template <auto Parse>
std::optional<Explanation> explain(std::string_view word) {
  const auto status = Parse(word);
  if (!status) return std::nullopt;
  return explanationOf(*status);
}

std::optional<CrossCheckStatus> parseCrossCheckStatus(std::string_view word) noexcept {
  const std::span words(kCrossCheckStatusWords);
  const auto found = std::ranges::find(words, word);
  if (found == words.end()) return std::nullopt;
  return static_cast<CrossCheckStatus>(found - words.begin());
}

std::optional<Explanation> explainHint(std::string_view word) {
  if (word != "true" && word != "false") return std::nullopt;
  return explainSelectorHintStale(word == "true");
}

constexpr auto kExplainedKeys = std::to_array<ExplainedKey>({
    {.key = "configStatus",
     .question = "Is the engine's configuration usable?",
     .explain = explain<parseConfigStatus>},
    {.key = "egressSelectionPolicy",
     .question = "Who selects the interface, according to the configuration?",
     .explain = explain<parseEgressSelectionPolicy>},
    {.key = "activeEndpointStatus",
     .question = "Are the address and port of the engine's server known? The walk to the endpoint "
                 "starts at the outbound tagged `proxy`, follows selectors (and `urltest` groups) "
                 "and detours, and ends at the first outbound that is neither a group nor has a "
                 "detour.",
     .explain = explain<parseActiveEndpointStatus>},
    {.key = "selectorHintStale",
     .question = "A boolean, not a status: is the last known choice of the selector out of date?",
     .explain = explainHint},
    {.key = "selectionStatus",
     .question = "Through which interface do the engine's sockets to the endpoint leave? This is "
                 "the result of the diagnosis. With `OK`, `selectedInterfaceOrdinal` identifies "
                 "the interface.",
     .explain = explain<parseSelectionStatus>},
    {.key = "interfacesStatus",
     .question = "Are the network interfaces known?",
     .explain = explain<parseInterfacesStatus>},
    {.key = "defaultRoutesStatus",
     .question = "Are the default routes known? They are reported, but do not affect the other "
                 "members.",
     .explain = explain<parseDefaultRoutesStatus>},
    {.key = "defaultRoutes[].interfaceOrdinalStatus",
     .question = "Is the interface of this route known?",
     .explain = explain<parseInterfaceOrdinalStatus>},
    {.key = "socketSourcesStatus",
     .question = "Are the engine's sockets known?",
     .explain = explain<parseSocketSourcesStatus>},
    {.key = "crossCheck",
     .question = "Not part of the report: do the packets of the counted sockets leave through the "
                 "interface that the diagnosis names? Seen packets decide, otherwise the system's "
                 "route for each socket, otherwise the device that it is bound to.",
     .explain = explain<parseCrossCheckStatus>},
});

}  // namespace

std::span<const ExplainedKey> explainedKeys() noexcept {
  return kExplainedKeys;
}

std::optional<Explanation> explainWord(std::string_view key, std::string_view word) {
  for (const ExplainedKey& row : kExplainedKeys) {
    if (row.key == key) return row.explain(word);
  }
  return std::nullopt;
}

}  // namespace egress::snapshot
