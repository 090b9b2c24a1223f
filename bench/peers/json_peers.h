#ifndef EGRESS_BENCH_PEERS_JSON_PEERS_H
#define EGRESS_BENCH_PEERS_JSON_PEERS_H

#include <string>
#include <string_view>
#include <vector>

#include "egress/config/proxy_config.h"
#include "egress/config/selector_answer.h"

namespace egress::bench {

// A way from a text to our records. Of its rules, those that the benchmark's documents need.
struct JsonReader {
  std::string_view name;
  std::string library;  // with its version
  ProxyConfig (*readConfig)(const std::string& text) = nullptr;
  SelectorAnswerStatus (*readAnswer)(const std::string& text, std::string* now) = nullptr;
};

// Each is there when its library was found while the benchmark was built.
JsonReader nlohmannDom();
JsonReader nlohmannSax();
JsonReader rapidJson();
JsonReader rapidJsonInSitu();
JsonReader boostJson();
JsonReader boostJsonMonotonic();
JsonReader simdjsonDom();
JsonReader simdjsonOnDemand();

}  // namespace egress::bench

#endif
