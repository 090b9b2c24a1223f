#include "bench/workloads.h"

#include <memory>
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
#include "tests/support/joined.h"

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

Workload makeConfigWorkload(std::size_t outbounds, Layout layout,
                            std::vector<std::string>& complaints) {
  const auto text = std::make_shared<const std::string>(makeConfigText(outbounds, layout));
  const ProxyConfig ours = readProxyConfig(*text, /*hasText=*/true);
  Workload workload{.rows = outbounds, .contenders = {}};
  for (const JsonReader& reader : jsonReaders()) {
    if (!test::sameConfig(reader.readConfig(*text), ours)) {
      complaints.push_back(test::joined({reader.name, " reads the configuration in another way"}));
    }
    workload.contenders.push_back({.name = std::string(reader.name), .run = [text, reader] {
                                     benchmark::DoNotOptimize(reader.readConfig(*text));
                                   }});
  }
  return workload;
}

Workload makeAnswerWorkload(std::vector<std::string>& complaints) {
  const auto text = std::make_shared<const std::string>(kSelectorAnswerText);
  Workload workload;
  for (const JsonReader& reader : jsonReaders()) {
    std::string now;
    if (reader.readAnswer(*text, &now) != SelectorAnswerStatus::Ok || now != "node_3") {
      complaints.push_back(test::joined({reader.name, " reads the answer in another way"}));
    }
    workload.contenders.push_back({.name = std::string(reader.name), .run = [text, reader] {
                                     std::string choice;
                                     benchmark::DoNotOptimize(reader.readAnswer(*text, &choice));
                                     benchmark::DoNotOptimize(choice);
                                   }});
  }
  return workload;
}

using AddressTexts = std::vector<std::string>;

// Not by a function pointer: what is timed shall be the parser, not the way to it.
template <typename Parse>
void addAddressContender(const std::string& name, const std::shared_ptr<const AddressTexts>& texts,
                         const Parse& parse, Workload& workload,
                         std::vector<std::string>& complaints) {
  for (const std::string& text : *texts) {
    if (sameNumericAddress(parse(text), parseNumericAddress(text))) continue;
    complaints.push_back(test::joined({name, " reads ", text, " in another way"}));
  }
  workload.contenders.push_back({.name = name, .run = [texts, parse] {
                                   for (const std::string& text : *texts) {
                                     benchmark::DoNotOptimize(parse(text));
                                   }
                                 }});
}

Workload makeAddressWorkload(std::size_t ipv4Percent, std::vector<std::string>& complaints) {
  constexpr std::size_t kTexts = 2000;
  const auto texts = std::make_shared<const AddressTexts>(makeAddressTexts(kTexts, ipv4Percent));
  Workload workload{.rows = kTexts, .contenders = {}};
  const auto add = [&](const std::string& name, const auto& parse) {
    addAddressContender(name, texts, parse, workload, complaints);
  };
  add("egress", [](const std::string& text) { return parseNumericAddress(text); });
  // Where there is one family alone, the system's parser is spared the question which it is.
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
  return workload;
}

Workload makeDiagnosisWorkload(std::size_t sockets, std::size_t adapters) {
  const auto input = std::make_shared<const DiagnosisInput>(makeDiagnosisInput(sockets, adapters));
  return {.rows = sockets,
          .contenders = {{.name = "egress",
                          .run = [input] { benchmark::DoNotOptimize(diagnoseEgress(*input)); }},
                         {.name = "lower-bound",
                          .run = [input] { benchmark::DoNotOptimize(touchEveryRow(*input)); }}}};
}

Workload makeProcessWorkload(const std::string& selfcheckProgram,
                             std::vector<std::string>& complaints) {
  Workload workload;
  for (const auto& [name, program] :
       {std::pair("egress", selfcheckProgram), std::pair("true", std::string("/bin/true"))}) {
    if (runWholeProcess(program) != 0) complaints.push_back(program + " does not end with 0");
    workload.contenders.push_back({.name = name, .run = [program = program] {
                                     benchmark::DoNotOptimize(runWholeProcess(program));
                                   }});
  }
  return workload;
}

}  // namespace

Workloads makeWorkloads(const std::regex& only, const std::string& selfcheckProgram) {
  Workloads all;
  all.missing = missingLibraries();
  for (const JsonReader& reader : jsonReaders()) {
    const bool isOurs = reader.library.empty();
    const bool isListed = !all.libraries.empty() && all.libraries.back() == reader.library;
    if (!isOurs && !isListed) all.libraries.push_back(reader.library);
  }
  const auto add = [&](std::string group, const auto& makeWorkload) {
    if (!std::regex_search(group, only)) return;
    std::vector<std::string> complaints;
    Workload workload = makeWorkload(complaints);
    for (const std::string& complaint : complaints) {
      all.complaints.push_back(test::joined({group, ": ", complaint}));
    }
    workload.group = std::move(group);
    all.workloads.push_back(std::move(workload));
  };
  for (const std::size_t outbounds : {1U, 20U, 500U, 5000U}) {
    add("config-line-" + std::to_string(outbounds), [outbounds](auto& complaints) {
      return makeConfigWorkload(outbounds, Layout::Line, complaints);
    });
    add("config-indented-" + std::to_string(outbounds), [outbounds](auto& complaints) {
      return makeConfigWorkload(outbounds, Layout::Indented, complaints);
    });
  }
  add("answer", [](auto& complaints) { return makeAnswerWorkload(complaints); });
  add("ipv4", [](auto& complaints) { return makeAddressWorkload(100, complaints); });
  add("ipv6", [](auto& complaints) { return makeAddressWorkload(0, complaints); });
  add("mixed", [](auto& complaints) { return makeAddressWorkload(70, complaints); });
  for (const auto& [sockets, adapters] : {std::pair(50U, 6U), std::pair(1000U, 20U),
                                          std::pair(10000U, 200U), std::pair(100000U, 1000U)}) {
    add("diagnosis-" + std::to_string(sockets), [sockets = sockets, adapters = adapters](auto&) {
      return makeDiagnosisWorkload(sockets, adapters);
    });
  }
  if (!selfcheckProgram.empty()) {
    add("process",
        [&](auto& complaints) { return makeProcessWorkload(selfcheckProgram, complaints); });
  }
  return all;
}

}  // namespace egress::bench
