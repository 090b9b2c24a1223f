#include "egress/config/resolve_active_outbound.h"

#include <algorithm>
#include <string_view>

namespace egress {
namespace {

constexpr std::string_view kStartTag = "proxy";

// Where the next follow leads: `status` is OK, or says why there is none.
struct Target {
  ActiveEndpointStatus status = ActiveEndpointStatus::OK;
  std::string_view tag;
};

const Outbound* findOutbound(const std::vector<Outbound>& outbounds, std::string_view tag) {
  const auto found = std::ranges::find(outbounds, tag, &Outbound::tag);
  return found == outbounds.end() ? nullptr : &*found;
}

bool isSelector(const Outbound& outbound) {
  return outbound.type == "selector" || outbound.type == "urltest";
}

Target choiceOf(const Outbound& selector, const std::vector<SelectorAnswer>& answers) {
  using enum ActiveEndpointStatus;
  const auto answer = std::ranges::find(answers, selector.tag, &SelectorAnswer::selectorTag);
  // A selector that was never asked has failed to answer.
  if (answer == answers.end()) return {.status = SELECTOR_TRANSPORT_FAILED, .tag = {}};
  switch (answer->status) {
    case SelectorAnswerStatus::TransportFailed:
      return {.status = SELECTOR_TRANSPORT_FAILED, .tag = {}};
    case SelectorAnswerStatus::Malformed: return {.status = SELECTOR_RESPONSE_MALFORMED, .tag = {}};
    case SelectorAnswerStatus::NowMissing: return {.status = SELECTOR_NOW_MISSING, .tag = {}};
    case SelectorAnswerStatus::Ok: break;  // also every value outside the enumeration
  }
  if (answer->now.empty()) return {.status = SELECTOR_NOW_MISSING, .tag = {}};
  return {.tag = answer->now};
}

// Walks to the leaf and fills `resolution` on the way; says how the walk ended.
ActiveEndpointStatus walk(const DiagnosisInput& input, Resolution& resolution) {
  using enum ActiveEndpointStatus;
  std::vector<std::string>& visited = resolution.visitedTags;
  std::size_t follows = 0;
  const Outbound* current = findOutbound(input.outbounds, kStartTag);
  while (current != nullptr) {
    visited.push_back(current->tag);
    const bool selects = isSelector(*current);
    if (!selects && current->detour.empty()) {
      resolution.leaf = current;
      return OK;
    }
    const Target target =
        selects ? choiceOf(*current, input.selectorAnswers) : Target{.tag = current->detour};
    if (target.status != OK) return target.status;

    // Depth comes before the cycle: a ninth follow is too deep even where it closes a circle.
    ++follows;
    if (follows > kMaxFollowSteps) return selects ? SELECTOR_DEPTH_EXCEEDED : DETOUR_DEPTH_EXCEEDED;
    const bool closesCircle = std::ranges::find(visited, target.tag) != visited.end();
    if (closesCircle) return selects ? SELECTOR_CYCLE : DETOUR_CYCLE;
    current = findOutbound(input.outbounds, target.tag);
  }
  return OUTBOUND_NOT_FOUND;
}

}  // namespace

Resolution resolveActiveOutbound(const DiagnosisInput& diagnosisInput) {
  Resolution resolution;
  resolution.status = walk(diagnosisInput, resolution);
  return resolution;
}

}  // namespace egress
