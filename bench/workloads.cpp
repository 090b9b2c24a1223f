#include "bench/workloads.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstddef>
#include <iterator>
#include <malloc.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/address_texts.h"
#include "bench/diagnosis_inputs.h"
#include "bench/documents.h"
#include "bench/hostile_texts.h"
#include "bench/peak_memory.h"
#include "bench/peers/json_peers.h"
#include "bench/whole_process.h"
#include "egress/egress.h"
#include "egress/json/json_reader.h"
#include "tests/laws/config_reading.h"
#include "tests/laws/json_trees.h"
#include "tests/support/joined.h"
#include "tests/support/record_equality.h"

namespace egress::bench {
namespace {

using benchmark::internal::Benchmark;

// A workload has `rows` outbounds, addresses or sockets. `run` is one operation and leaves nothing
// behind; it is called directly, because a call through a pointer would be timed, too.
template <typename Run>
Benchmark* addContender(const std::string& workload, std::string_view contender, std::size_t rows,
                        Run run) {
  const std::string name = test::joined({workload, "/", contender});
  return benchmark::RegisterBenchmark(name.c_str(), [rows, run](benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(run());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(rows));
  });
}

void requireSame(bool same, const std::string& workload, std::string_view contender) {
  if (same) return;
  throw std::runtime_error(test::joined({workload, ": the result of ", contender, " differs"}));
}

std::vector<JsonReader> jsonPeers() {
  std::vector<JsonReader> peers = {nlohmannJson()};
#ifdef EGRESS_BENCH_RAPIDJSON
  peers.push_back(rapidJson());
#endif
#ifdef EGRESS_BENCH_BOOST
  peers.push_back(boostJson());
#endif
#ifdef EGRESS_BENCH_SIMDJSON
  peers.push_back(simdjsonDom());
#endif
  return peers;
}

// Reserves exactly what it needs, which no reader can.
void copyTree(const JsonValue& from, JsonValue& to) {
  to.kind = from.kind;
  to.boolValue = from.boolValue;
  to.intValue = from.intValue;
  to.stringValue = from.stringValue;
  to.items.reserve(from.items.size());
  for (const JsonValue& item : from.items) copyTree(item, to.items.emplace_back());
  to.memberKeys = from.memberKeys;
  to.memberValues.reserve(from.memberValues.size());
  for (const JsonValue& value : from.memberValues) copyTree(value, to.memberValues.emplace_back());
}

void addConfig(std::size_t outbounds, Layout layout) {
  const std::string workload =
      (layout == Layout::Line ? "line-" : "indented-") + std::to_string(outbounds);
  const auto text = std::make_shared<const std::string>(makeConfigText(outbounds, layout));
  const ProxyConfig ours = readProxyConfig(*text, /*hasText=*/true);
  addContender(workload, "egress", outbounds,
               [text] { return readProxyConfig(*text, /*hasText=*/true); });
  addContender(workload, "text-to-tree", outbounds, [text] {
    JsonValue tree;
    const bool parsed = parseJsonDocument(*text, tree);
    benchmark::DoNotOptimize(tree);
    return parsed;
  });
  const auto tree = std::make_shared<JsonValue>();
  requireSame(parseJsonDocument(*text, *tree), workload, "text-to-tree");
  JsonValue copy;
  copyTree(*tree, copy);
  requireSame(test::sameTree(copy, *tree), workload, "tree-alone");
  addContender(workload, "tree-alone", outbounds, [tree] {
    JsonValue built;
    copyTree(*tree, built);
    benchmark::DoNotOptimize(built);
    return true;
  });
  for (const JsonReader& peer : jsonPeers()) {
    requireSame(peer.readConfig(*text) == ours, workload, peer.name);
    addContender(workload, peer.name, outbounds,
                 [text, read = peer.readConfig] { return read(*text); });
  }
}

void addAnswer() {
  const std::string workload = "answer";
  const auto text = std::make_shared<const std::string>(kSelectorAnswerText);
  const auto add = [&](const std::string& contender, auto read) {
    std::string now;
    requireSame(read(*text, &now) == SelectorAnswerStatus::Ok && now == "node_3", workload,
                contender);
    addContender(workload, contender, 1, [text, read] {
      std::string choice;
      const SelectorAnswerStatus status = read(*text, &choice);
      benchmark::DoNotOptimize(choice);
      return status;
    });
  };
  add("egress", readSelectorAnswer);
  for (const JsonReader& peer : jsonPeers()) add(peer.name, peer.readAnswer);
}

NumericAddress inetPtonIpv4(const std::string& text) {
  NumericAddress address{.valid = true, .family = 4};
  if (inet_pton(AF_INET, text.c_str(), address.bytes.data()) != 1) return {};
  return address;
}

NumericAddress inetPtonIpv6(const std::string& text) {
  NumericAddress address{.valid = true, .family = 6};
  if (inet_pton(AF_INET6, text.c_str(), address.bytes.data()) != 1) return {};
  return address;
}

NumericAddress inetPton(const std::string& text) {
  return text.find(':') == std::string::npos ? inetPtonIpv4(text) : inetPtonIpv6(text);
}

// `peer` knows the family where all texts are of one.
template <typename Parse>
void addAddresses(const std::string& workload, std::size_t ipv4Percent, Parse peer) {
  constexpr std::size_t kTexts = 2000;
  const auto texts =
      std::make_shared<const std::vector<std::string>>(makeAddressTexts(kTexts, ipv4Percent));
  const auto add = [&](std::string_view contender, auto parse) {
    for (const std::string& text : *texts) {
      requireSame(sameNumericAddress(parse(text), parseNumericAddress(text)), workload, contender);
    }
    addContender(workload, contender, kTexts, [texts, parse] {
      for (const std::string& text : *texts) benchmark::DoNotOptimize(parse(text));
      return true;
    });
  };
  add("egress", [](const std::string& text) { return parseNumericAddress(text); });
  add("inet_pton", peer);
}

void addDiagnosis(std::size_t sockets, std::size_t adapters) {
  const std::string workload = "sockets-" + std::to_string(sockets);
  const auto input = std::make_shared<const DiagnosisInput>(makeDiagnosisInput(sockets, adapters));
  addContender(workload, "egress", sockets, [input] { return diagnoseEgress(*input); });
  addContender(workload, "diagnose", sockets, [input] { return diagnose(*input); });
  addContender(workload, "lower-bound", sockets, [input] { return touchEveryRow(*input); });
}

struct MeasuredText {
  Reader reader = Reader::Snapshot;
  std::string name;  // of the workload and of the text
  std::shared_ptr<const std::string> text;
  double memoryPerByte = 0;  // while it is read
};

std::vector<MeasuredText> measureHostileTexts(const std::string& workload,
                                              std::size_t repetitions) {
  std::vector<MeasuredText> measured;
  for (const HostileText& hostile : hostileTexts()) {
    const auto text = std::make_shared<const std::string>(makeText(hostile, repetitions));
    const std::optional<std::size_t> memory =
        peakMemoryOf([&] { return readText(hostile.reader, *text) == hostile.accepted; });
    requireSame(memory.has_value(), workload, hostile.name);
    measured.push_back({.reader = hostile.reader,
                        .name = test::joined({workload, "/", hostile.name}),
                        .text = text,
                        .memoryPerByte = static_cast<double>(memory.value_or(0)) /
                                         static_cast<double>(text->size())});
  }
  return measured;
}

// malloc gets each large block from the system, as for the first text that a process reads.
// Otherwise it adapts to the sizes that were freed, and reuses the memory of one text and not of
// another.
void addHostileText(const MeasuredText& measured) {
  benchmark::RegisterBenchmark(measured.name.c_str(), [measured](benchmark::State& state) {
    constexpr int kLargeBlock = 128 * 1024;  // what glibc starts with
    mallopt(M_MMAP_THRESHOLD, kLargeBlock);
    mallopt(M_TRIM_THRESHOLD, kLargeBlock);
    const std::string& text = *measured.text;
    for (auto _ : state) benchmark::DoNotOptimize(readText(measured.reader, text));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
    state.counters["memory_per_byte"] = measured.memoryPerByte;
  });
}

void addProcess(const std::string& contender, const std::string& program) {
  requireSame(runWholeProcess(program) == 0, "process", program);
  // By the clock: a child's processor time is not this thread's.
  addContender("process", contender, 1, [program] {
    return runWholeProcess(program);
  })->UseRealTime();
}

}  // namespace

void registerWorkloads(const std::string& selfcheckProgram) {
  for (const JsonReader& peer : jsonPeers()) {
    benchmark::AddCustomContext(peer.name, peer.version);
  }
  // Measured first, while this process has little memory. More repetitions than a power of two are
  // the worst: a list that doubles when it is full has just done so.
  constexpr std::size_t kRepetitions = (1U << 17U) + 1;
  std::vector<MeasuredText> hostile = measureHostileTexts("hostile", kRepetitions);
  std::ranges::move(measureHostileTexts("hostile_twice", 2 * kRepetitions),
                    std::back_inserter(hostile));
  for (const std::size_t outbounds : {1U, 20U, 500U, 5000U}) {
    addConfig(outbounds, Layout::Line);
    addConfig(outbounds, Layout::Indented);
  }
  addAnswer();
  addAddresses("ipv4", 100, [](const std::string& text) { return inetPtonIpv4(text); });
  addAddresses("ipv6", 0, [](const std::string& text) { return inetPtonIpv6(text); });
  addAddresses("mixed", 70, [](const std::string& text) { return inetPton(text); });
  addDiagnosis(50, 6);
  addDiagnosis(1000, 20);
  addDiagnosis(10000, 200);
  addDiagnosis(100000, 1000);
  if (!selfcheckProgram.empty()) {
    addProcess("egress", selfcheckProgram);
    addProcess("true", "/bin/true");
  }
  // Timed last, because they change malloc.
  for (const MeasuredText& measured : hostile) addHostileText(measured);
}

}  // namespace egress::bench
