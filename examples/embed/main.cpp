#include <iostream>
#include <string_view>
#include <variant>

#include "egress/egress.h"

int main() {
  const std::string_view config = R"({
      "route": {"auto_detect_interface": true},
      "outbounds": [{"tag": "proxy", "type": "shadowsocks",
                     "server": "198.51.100.10", "server_port": 443}]})";
  egress::DiagnosisInput input;
  egress::setProxyConfig(input, egress::readProxyConfig(config, /*hasText=*/true));
  input.adapters.rows = {{.interfaceIndex = 5, .operStatus = 1, .addresses = {"10.0.0.7"}}};
  input.routes.rows = {{.family = 4, .interfaceIndex = 5}};
  input.sockets.rows = {{"10.0.0.7", 51000, "198.51.100.10", 443}};

  const egress::EgressReport report = egress::diagnoseEgress(input);
  for (const egress::ReportMember& member : report.members) {
    const auto* const value = std::get_if<egress::ReportScalar>(&member.value);
    if (value == nullptr || value->kind != egress::ReportKind::String) continue;
    std::cout << member.key << ": " << value->stringValue << "\n";
  }
}
