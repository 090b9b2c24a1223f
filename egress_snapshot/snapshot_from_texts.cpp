#include "egress_snapshot/snapshot_from_texts.h"

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "egress/config/proxy_config.h"
#include "egress_snapshot/blank_config.h"
#include "egress_snapshot/selector_answers_json.h"

namespace egress::snapshot {
namespace {

template <typename Row>
void setNotTaken(SnapshotList<Row>& list) {
  list.enumFailed = true;
  list.failureReason = "not taken";
}

}  // namespace

Result<HostSnapshot> snapshotFromTexts(std::string_view configText, std::string_view answersText) {
  HostSnapshot snapshot;
  if (!answersText.empty()) {
    Result<std::vector<SelectorAnswer>> answers = selectorAnswersFromJson(answersText);
    if (auto* const refusal = std::get_if<Refusal>(&answers)) return std::move(*refusal);
    snapshot.selectorAnswers = std::get<std::vector<SelectorAnswer>>(std::move(answers));
  }
  std::string config(configText);
  snapshot.blanked = blankNonJson(config);
  snapshot.config = readProxyConfig(config, /*hasText=*/true);
  setNotTaken(snapshot.adapters);
  setNotTaken(snapshot.routes);
  setNotTaken(snapshot.sockets);
  return snapshot;
}

}  // namespace egress::snapshot
