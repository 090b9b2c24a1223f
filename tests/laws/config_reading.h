#ifndef EGRESS_TESTS_LAWS_CONFIG_READING_H
#define EGRESS_TESTS_LAWS_CONFIG_READING_H

#include <string>
#include <string_view>

#include "egress/config/proxy_config.h"
#include "egress/config/selector_answer.h"

namespace egress::test {

// What readProxyConfig should make of a text: its rules once more, written as plainly as they can
// be. Trusts parseJsonDocument, which is tested on its own.
ProxyConfig expectedConfig(std::string_view text);

// The same for readSelectorAnswer; `now` means something only on Ok.
SelectorAnswerStatus expectedAnswer(std::string_view text, std::string& now);

// True when the two are equal in every field.
bool sameConfig(const ProxyConfig& a, const ProxyConfig& b);

std::string describe(const Outbound& outbound);
std::string describe(const ProxyConfig& config);
std::string describe(SelectorAnswerStatus status, std::string_view now);

}  // namespace egress::test

#endif
