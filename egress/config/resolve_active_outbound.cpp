#include "egress/config/resolve_active_outbound.h"

#include <algorithm>
#include <string_view>

#include "egress/config/protocols.h"

namespace egress {
namespace {

// The next step of the walk: `status` is OK, or says why there is none.
struct Target {
  ActiveEndpointStatus status = ActiveEndpointStatus::OK;
  std::string_view tag;
};

// If the selector has no choice, the tag is its own: the walk looked for its answer.
Target choiceOf(const Outbound& selector, const std::vector<SelectorAnswer>& answers) {
  using enum ActiveEndpointStatus;
  const auto answer = std::ranges::find(answers, selector.tag, &SelectorAnswer::selectorTag);
  // A selector that was never queried counts as a failed query.
  if (answer == answers.end()) return {.status = SELECTOR_TRANSPORT_FAILED, .tag = selector.tag};
  switch (answer->status) {
    case SelectorAnswerStatus::TransportFailed:
      return {.status = SELECTOR_TRANSPORT_FAILED, .tag = selector.tag};
    case SelectorAnswerStatus::Malformed:
      return {.status = SELECTOR_RESPONSE_MALFORMED, .tag = selector.tag};
    case SelectorAnswerStatus::NowMissing:
      return {.status = SELECTOR_NOW_MISSING, .tag = selector.tag};
    case SelectorAnswerStatus::Ok: break;  // also every value outside the enumeration
  }
  if (answer->now.empty()) return {.status = SELECTOR_NOW_MISSING, .tag = selector.tag};
  return {.tag = answer->now};
}

// Walks to the leaf and fills `resolution` on the way, except for its status, which is the result.
// `sought` is the tag that the walk looks for, at the end the last one.
ActiveEndpointStatus walk(const DiagnosisInput& input, Resolution& resolution,
                          std::string_view& sought) {
  using enum ActiveEndpointStatus;
  std::vector<std::string>& visited = resolution.visitedTags;
  std::size_t follows = 0;
  for (;;) {
    const auto current = std::ranges::find(input.outbounds, sought, &Outbound::tag);
    if (current == input.outbounds.end()) return OUTBOUND_NOT_FOUND;
    visited.push_back(current->tag);
    const bool selects = outboundTypeOf(current->type) == OutboundType::Selector;
    if (!selects && current->detour.empty()) {
      resolution.leaf = static_cast<std::size_t>(current - input.outbounds.begin());
      return OK;
    }
    const Target target =
        selects ? choiceOf(*current, input.selectorAnswers) : Target{.tag = current->detour};
    sought = target.tag;
    if (target.status != OK) return target.status;

    // Depth comes before the cycle: a ninth follow is too deep even if it closes a cycle.
    ++follows;
    if (follows > kMaxFollowSteps) return selects ? SELECTOR_DEPTH_EXCEEDED : DETOUR_DEPTH_EXCEEDED;
    const bool closesCycle = std::ranges::find(visited, sought) != visited.end();
    if (closesCycle) return selects ? SELECTOR_CYCLE : DETOUR_CYCLE;
  }
}

}  // namespace

Resolution resolveActiveOutbound(const DiagnosisInput& diagnosisInput) {
  Resolution resolution;
  std::string_view sought = kStartTag;
  resolution.status = walk(diagnosisInput, resolution, sought);
  if (resolution.status != ActiveEndpointStatus::OK) resolution.soughtTag = sought;
  return resolution;
}

}  // namespace egress
