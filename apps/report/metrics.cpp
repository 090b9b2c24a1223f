#include "apps/report/metrics.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <ctime>
#include <string_view>
#include <sys/stat.h>
#include <utility>
#include <variant>
#include <vector>

#include "apps/report/files.h"
#include "egress/core/write_report.h"
#include "egress/version.h"

namespace egress::report {
namespace {

using snapshot::FactKind;
using snapshot::SocketRole;

constexpr std::string_view kLastSuccess = "egress_last_success_timestamp_seconds";

using Label = std::pair<std::string_view, std::string>;

class MetricsWriter {
 public:
  // All samples of a metric follow.
  void describe(std::string_view name, std::string_view help) {
    name_ = name;
    text_.append("# HELP ").append(name).append(" ").append(help);
    text_.append("\n# TYPE ").append(name).append(" gauge\n");
  }

  void sample(std::int64_t value, const std::vector<Label>& labels = {}) {
    text_ += name_;
    std::string_view separator = "{";
    for (const auto& [label, content] : labels) {
      text_.append(separator).append(label).append("=\"").append(escaped(content)).append("\"");
      separator = ",";
    }
    text_.append(labels.empty() ? " " : "} ").append(std::to_string(value)).append("\n");
  }

  [[nodiscard]] std::string takeText() { return std::move(text_); }

 private:
  static std::string escaped(std::string_view content) {
    std::string text;
    for (const char c : content) {
      if (c == '\\' || c == '"') text += '\\';
      text += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return text;
  }

  std::string_view name_;
  std::string text_;
};

std::string wordIn(const EgressReport& report, std::string_view key) {
  const ReportMember* const member = findReportMember(report, key);
  return std::get<ReportScalar>(member->value).stringValue;
}

std::string checkWord(snapshot::CrossCheckStatus status) {
  return std::string(snapshot::kCrossCheckStatusWords.at(static_cast<std::size_t>(status)));
}

void addWords(const Finding& finding, MetricsWriter& writer) {
  const EgressReport report = writeReport(finding.diagnosis());
  const auto label = [&report](std::string_view name, std::string_view key) {
    return Label{name, wordIn(report, key)};
  };
  writer.describe("egress_info", "The words of the report and of the cross-check.");
  writer.sample(1, {label("config_status", "configStatus"),
                    label("policy", "egressSelectionPolicy"),
                    label("active_endpoint_status", "activeEndpointStatus"),
                    label("selection_status", "selectionStatus"),
                    label("interfaces_status", "interfacesStatus"),
                    label("default_routes_status", "defaultRoutesStatus"),
                    label("socket_sources_status", "socketSourcesStatus"),
                    {"cross_check", checkWord(finding.check().status)}});
}

// No sample if no interface is named, or several are.
void addInterface(const Finding& finding, MetricsWriter& writer) {
  const auto named = interfaceNamedBy(finding.addresses.front());
  if (!named || !doAgree(finding.addresses)) return;
  writer.describe("egress_selected_interface", "The interface that the traffic leaves through.");
  writer.sample(1, {{"interface", finding.interfaceNames.at(*named)}});
}

void addCrossCheck(const Finding& finding, MetricsWriter& writer) {
  writer.describe("egress_cross_check", "Whether the cross-check has this word.");
  const std::string current = checkWord(finding.check().status);
  for (const std::string_view word : snapshot::kCrossCheckStatusWords) {
    writer.sample(word == current ? 1 : 0, {{"status", std::string(word)}});
  }
}

void addSockets(const Finding& finding, MetricsWriter& writer) {
  writer.describe("egress_sockets", "Sockets of the engine to its endpoint.");
  for (std::size_t i = 0; i < snapshot::kSocketRoleWords.size(); ++i) {
    std::int64_t count = 0;
    for (const snapshot::AddressFinding& address : finding.addresses) {
      count += std::ranges::count(address.crossCheck.sockets, static_cast<SocketRole>(i),
                                  &snapshot::CheckedSocket::role);
    }
    writer.sample(count, {{"role", std::string(snapshot::kSocketRoleWords.at(i))}});
  }
}

bool lacks(const Finding& finding, FactKind fact) {
  const auto& missing = finding.snapshot.missingFacts;
  return std::ranges::find(missing, fact, &snapshot::MissingFact::fact) != missing.end();
}

bool hasFailedQuery(const Finding& finding) {
  return std::ranges::any_of(finding.snapshot.queries, [](const snapshot::SelectorQuery& query) {
    return query.outcome != snapshot::QueryOutcome::ANSWERED;
  });
}

using Failure = std::pair<const char*, bool>;

std::vector<Failure> failuresOf(const Finding* finding) {
  if (finding == nullptr) return {{"process", true}};
  // Watching goes on without the engine.
  const bool hasNoProcess =
      finding->snapshot.sockets.enumFailed && finding->snapshot.processes.empty();
  return {{"process", hasNoProcess},
          {"query", hasFailedQuery(*finding)},
          {"address", lacks(*finding, FactKind::ADDRESS)},
          {"adapters", finding->snapshot.adapters.enumFailed},
          {"routes", finding->snapshot.routes.enumFailed},
          {"sockets", finding->snapshot.sockets.enumFailed},
          {"socket_marks", lacks(*finding, FactKind::MARK)},
          {"socket_routes", lacks(*finding, FactKind::ROUTE)},
          {"packets", lacks(*finding, FactKind::PACKETS)}};
}

void addFailures(const Finding* finding, MetricsWriter& writer) {
  writer.describe("egress_failure", "Whether this could not be had.");
  for (const auto& [kind, hasFailed] : failuresOf(finding)) {
    writer.sample(hasFailed ? 1 : 0, {{"kind", kind}});
  }
}

std::optional<std::int64_t> lastSuccessIn(std::string_view metrics) {
  while (!metrics.empty()) {
    const std::string_view line = metrics.substr(0, metrics.find('\n'));
    metrics.remove_prefix(std::min(line.size() + 1, metrics.size()));
    if (!line.starts_with(kLastSuccess)) continue;
    const std::string_view value = line.substr(kLastSuccess.size());
    if (!value.starts_with(' ')) return std::nullopt;
    std::int64_t seconds = 0;
    const char* const end = value.data() + value.size();
    const auto [last, error] = std::from_chars(value.data() + 1, end, seconds);
    const bool isTime = error == std::errc() && last == end && seconds >= 0;
    return isTime ? std::optional(seconds) : std::nullopt;
  }
  return std::nullopt;
}

// Empty if it cannot be read.
std::string oldMetrics(const std::string& path) {
  constexpr std::uint64_t kMaxSize = 65536;  // several times what metricsText makes
  try {
    return readFile({.option = "", .path = path, .maxSize = kMaxSize});
  } catch (const CannotRun&) {
    return {};
  }
}

}  // namespace

std::string metricsText(const Finding* finding, const MetricTimes& times) {
  MetricsWriter writer;
  writer.describe("egress_build_info", "The version of egress-report.");
  writer.sample(1, {{"version", std::string(kVersion)}});
  writer.describe("egress_last_run_timestamp_seconds", "When egress-report ran last.");
  writer.sample(times.run);
  if (times.lastSuccess) {
    writer.describe(kLastSuccess, "When an interface was named last, and nothing contradicted it.");
    writer.sample(*times.lastSuccess);
  }
  const Outcome outcome = finding == nullptr ? Outcome::CANNOT_RUN : outcomeOf(*finding);
  writer.describe("egress_outcome", "The exit status of egress-report.");
  writer.sample(static_cast<std::int64_t>(outcome));
  addFailures(finding, writer);
  if (finding == nullptr) return writer.takeText();
  addWords(*finding, writer);
  addInterface(*finding, writer);
  addCrossCheck(*finding, writer);
  addSockets(*finding, writer);
  return writer.takeText();
}

OutputFile metricsFile(const std::string& path) {
  constexpr mode_t kReadableByAll = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
  return {.option = "--prometheus", .path = path, .mode = kReadableByAll, .remedy = {}};
}

MetricTimes metricTimes(const std::string& path, const Finding* finding) {
  MetricTimes times{.run = std::time(nullptr), .lastSuccess = {}};
  const bool isSuccess = finding != nullptr && outcomeOf(*finding) == Outcome::NAMED;
  times.lastSuccess = isSuccess ? times.run : lastSuccessIn(oldMetrics(path));
  return times;
}

}  // namespace egress::report
