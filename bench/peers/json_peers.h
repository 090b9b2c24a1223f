#ifndef EGRESS_BENCH_PEERS_JSON_PEERS_H
#define EGRESS_BENCH_PEERS_JSON_PEERS_H

#include <string>

#include "egress/config/proxy_config.h"
#include "egress/config/selector_answer.h"

namespace egress::bench {

// A way from a text to our records. Of its rules, those that the benchmark's documents need.
struct JsonReader {
  std::string name;
  std::string version;
  ProxyConfig (*readConfig)(const std::string& text) = nullptr;
  SelectorAnswerStatus (*readAnswer)(const std::string& text, std::string* now) = nullptr;
};

// The last three exist if their library was found by CMake.
JsonReader nlohmannJson();
JsonReader rapidJson();
JsonReader boostJson();
JsonReader simdjsonDom();

}  // namespace egress::bench

#endif
