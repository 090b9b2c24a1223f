#include "bench/workloads.h"

#include <memory>
#include <string_view>
#include <utility>

#include <benchmark/benchmark.h>

#include "bench/address_texts.h"
#include "bench/diagnosis_inputs.h"
#include "bench/documents.h"
#include "bench/peers/address_peers.h"
#include "bench/peers/json_peers.h"
#include "bench/whole_process.h"
#include "egress/egress.h"
#include "tests/laws/config_reading.h"

namespace egress::bench {
namespace {

JsonReader ourJsonReader() {
  return {.name = "egress",
          .library = "",
          .readConfig = [](const std::string& text) { return readProxyConfig(text, true); },
          .readAnswer = [](const std::string& text,
                           std::string* now) { return readSelectorAnswer(text, now); }};
}

// Ours first: the others are compared with it.
std::vector<JsonReader> jsonReaders() {
  std::vector<JsonReader> readers = {ourJsonReader(), nlohmannDom(), nlohmannSax()};
#ifdef EGRESS_BENCH_RAPIDJSON
  readers.push_back(rapidJson());
  readers.push_back(rapidJsonInSitu());
#endif
#ifdef EGRESS_BENCH_BOOST
  readers.push_back(boostJson());
  readers.push_back(boostJsonMonotonic());
#endif
#ifdef EGRESS_BENCH_SIMDJSON
  readers.push_back(simdjsonDom());
  readers.push_back(simdjsonOnDemand());
#endif
  return readers;
}

std::vector<std::string> missingLibraries() {
  std::vector<std::string> missing;
#ifndef EGRESS_BENCH_RAPIDJSON
  missing.emplace_back("RapidJSON");
#endif
#ifndef EGRESS_BENCH_BOOST
  missing.emplace_back("Boost.JSON and Boost.Asio");
#endif
#ifndef EGRESS_BENCH_SIMDJSON
  missing.emplace_back("simdjson");
#endif
  return missing;
}

void addConfigWorkload(std::size_t outbounds, Layout layout, Workloads& all) {
  const auto text = std::make_shared<const std::string>(makeConfigText(outbounds, layout));
  const ProxyConfig ours = readProxyConfig(*text, /*hasText=*/true);
  Workload workload;
  workload.group =
      (layout == Layout::Line ? "config-line-" : "config-indented-") + std::to_string(outbounds);
  workload.rows = outbounds;
  for (const JsonReader& reader : jsonReaders()) {
    if (!test::sameConfig(reader.readConfig(*text), ours)) {
      all.complaints.push_back(std::string(reader.name) + " reads " + workload.group +
                               " in another way");
    }
    workload.contenders.push_back({.name = std::string(reader.name), .run = [text, reader] {
                                     benchmark::DoNotOptimize(reader.readConfig(*text));
                                   }});
  }
  all.workloads.push_back(std::move(workload));
}

void addAnswerWorkload(Workloads& all) {
  const auto text = std::make_shared<const std::string>(kSelectorAnswerText);
  Workload workload;
  workload.group = "answer";
  for (const JsonReader& reader : jsonReaders()) {
    std::string now;
    if (reader.readAnswer(*text, &now) != SelectorAnswerStatus::Ok || now != "node_3") {
      all.complaints.push_back(std::string(reader.name) + " reads the answer in another way");
    }
    workload.contenders.push_back({.name = std::string(reader.name), .run = [text, reader] {
                                     std::string choice;
                                     benchmark::DoNotOptimize(reader.readAnswer(*text, &choice));
                                     benchmark::DoNotOptimize(choice);
                                   }});
  }
  all.workloads.push_back(std::move(workload));
}

using AddressTexts = std::shared_ptr<const std::vector<std::string>>;

// Not a function pointer: what is timed shall be the parser, not the way to it.
template <typename Parse>
void addAddressContender(std::string name, const AddressTexts& texts, const Parse& parse,
                         Workload& workload, std::vector<std::string>& complaints) {
  for (const std::string& text : *texts) {
    if (sameNumericAddress(parse(text), parseNumericAddress(text))) continue;
    complaints.push_back(name + " reads " + text + " in another way");
  }
  workload.contenders.push_back({.name = std::move(name), .run = [texts, parse] {
                                   for (const std::string& text : *texts) {
                                     benchmark::DoNotOptimize(parse(text));
                                   }
                                 }});
}

void addAddressWorkload(std::string group, std::size_t ipv4Percent, Workloads& all) {
  constexpr std::size_t kTexts = 2000;
  const auto texts =
      std::make_shared<const std::vector<std::string>>(makeAddressTexts(kTexts, ipv4Percent));
  Workload workload;
  workload.group = std::move(group);
  workload.rows = texts->size();
  const auto add = [&](std::string name, const auto& parse) {
    addAddressContender(std::move(name), texts, parse, workload, all.complaints);
  };
  add("egress", [](const std::string& text) { return parseNumericAddress(text); });
  // A peer that knows the family beforehand is spared the question.
  if (ipv4Percent == 100) {
    add("inet_pton", inetPtonIpv4);
  } else if (ipv4Percent == 0) {
    add("inet_pton", inetPtonIpv6);
  } else {
    add("inet_pton", inetPton);
  }
#ifdef EGRESS_BENCH_BOOST
  add("boost-asio", asioMakeAddress);
#endif
  all.workloads.push_back(std::move(workload));
}

void addDiagnosisWorkload(std::size_t sockets, std::size_t adapters, Workloads& all) {
  const auto input = std::make_shared<const DiagnosisInput>(makeDiagnosisInput(sockets, adapters));
  all.workloads.push_back(
      {.group = "diagnosis-" + std::to_string(sockets),
       .rows = sockets,
       .contenders = {
           {.name = "egress", .run = [input] { benchmark::DoNotOptimize(diagnoseEgress(*input)); }},
           {.name = "lower-bound",
            .run = [input] { benchmark::DoNotOptimize(touchEveryRow(*input)); }}}});
}

void addProcessWorkload(const std::string& selfcheckProgram, Workloads& all) {
  for (const std::string& program : {selfcheckProgram, std::string("/bin/true")}) {
    if (runWholeProcess(program) != 0) all.complaints.push_back(program + " fails");
  }
  all.workloads.push_back(
      {.group = "process",
       .contenders = {
           {.name = "egress", .run = [selfcheckProgram] { runWholeProcess(selfcheckProgram); }},
           {.name = "true", .run = [] { runWholeProcess("/bin/true"); }}}});
}

}  // namespace

Workloads makeWorkloads(const std::string& selfcheckProgram) {
  Workloads all;
  all.missing = missingLibraries();
  for (const JsonReader& reader : jsonReaders()) {
    if (!reader.library.empty()) all.libraries.push_back(std::string(reader.library));
  }
  for (const Layout layout : {Layout::Line, Layout::Indented}) {
    for (const std::size_t outbounds : {1U, 20U, 500U, 5000U}) {
      addConfigWorkload(outbounds, layout, all);
    }
  }
  addAnswerWorkload(all);
  addAddressWorkload("ipv4", 100, all);
  addAddressWorkload("ipv6", 0, all);
  addAddressWorkload("mixed", 70, all);
  addDiagnosisWorkload(50, 6, all);
  addDiagnosisWorkload(1000, 20, all);
  addDiagnosisWorkload(10000, 200, all);
  addDiagnosisWorkload(100000, 1000, all);
  if (!selfcheckProgram.empty()) addProcessWorkload(selfcheckProgram, all);
  return all;
}

}  // namespace egress::bench
