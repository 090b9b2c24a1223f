#include "apps/report/examine.h"

#include <cstdint>
#include <utility>
#include <vector>

#include "apps/report/culprit.h"
#include "egress_live/ask_engine.h"
#include "egress_live/look_up_routes.h"
#include "egress_live/resolve_server.h"
#include "egress_snapshot/main_tags.h"

namespace egress::report {
namespace {

using snapshot::AddressFinding;
using snapshot::HostSnapshot;

constexpr std::uint32_t kResolveMilliseconds = 5000;

void askOthers(const Options& options, const InputTexts& texts, int engineSocket,
               HostSnapshot& snapshot) {
  if (options.access) live::askSelectors(accessOf(options, texts, engineSocket), snapshot);
  if (options.asksSystemForNames) live::resolveServer(kResolveMilliseconds, snapshot);
}

// Adds what the system says about the sockets to the endpoint, and what is seen of them.
void addFacts(const Options& options, live::PacketObserver* observer,
              const std::vector<AddressFinding>& addresses, HostSnapshot& snapshot) {
  if (!options.processes) return;
  for (const AddressFinding& address : addresses) {
    live::lookUpRoutes(address.diagnosis.endpoint, snapshot);
    if (observer == nullptr) continue;
    observer->observe(address.diagnosis.endpoint, options.observeSeconds.value(), snapshot);
  }
}

// What a person needs to correct the configuration.
void addHints(const InputTexts& texts, Finding& finding) {
  if (!texts.config) return;
  const Diagnosis& diagnosis = finding.diagnosis();
  if (diagnosis.configStatus == ConfigStatus::JSON_PARSE_FAILED) {
    finding.configFault = faultOf(*texts.config);
  }
  const bool hasNoStart =
      diagnosis.configStatus == ConfigStatus::OK && diagnosis.resolution.visitedTags.empty();
  if (hasNoStart) finding.possibleMainTags = snapshot::possibleMainTags(*texts.config);
}

}  // namespace

Finding examine(const Options& options, HostSnapshot taken, InputTexts texts,
                const Opened& opened) {
  HostSnapshot snapshot = parseInput(options, std::move(taken), texts);
  warnUnused(options, snapshot);
  askOthers(options, texts, opened.engineSocket, snapshot);
  std::vector<AddressFinding> addresses = diagnoseAddresses(snapshot, options.counted);
  addFacts(options, opened.observer, addresses, snapshot);
  Finding finding = findOut(std::move(snapshot), std::move(addresses), options.counted);
  addHints(texts, finding);
  return finding;
}

}  // namespace egress::report
