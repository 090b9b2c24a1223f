#ifndef EGRESS_TESTS_LAWS_CONFIG_READING_H
#define EGRESS_TESTS_LAWS_CONFIG_READING_H

#include <string>
#include <string_view>

#include "egress/config/proxy_config.h"
#include "egress/config/selector_answer.h"

namespace egress::test {

// A simple second implementation of readProxyConfig. Uses parseJsonDocument, which has its own
// laws.
ProxyConfig expectedConfig(std::string_view text);

// The same for readSelectorAnswer. `now` is valid only on Ok.
SelectorAnswerStatus expectedAnswer(std::string_view text, std::string& now);

std::string describe(const Outbound& outbound);
std::string describe(const ProxyConfig& config);
std::string describe(SelectorAnswerStatus status, std::string_view now);

}  // namespace egress::test

#endif
