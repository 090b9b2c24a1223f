#ifndef EGRESS_EXAMPLES_LINUX_HOST_SNAPSHOT_FILE_H
#define EGRESS_EXAMPLES_LINUX_HOST_SNAPSHOT_FILE_H

#include <string>
#include <string_view>

#include "egress/core/diagnosis_input.h"

namespace linux_host {

// A saved snapshot is a text file with a complete DiagnosisInput, one record per line:
//
//   egress-snapshot version=1
//   config status=OK autoDetectInterface=true
//   outbound tag=proxy type=shadowsocks hasServer=true server=198.51.100.10 portSpecified=true ...
//   answer selectorTag=proxy status=Ok now=node%201
//   hint tag=node%201
//   adapters enumFailed=false
//   interface index=2 operStatus=1 metric=0 addresses=192.0.2.7,2001:db8::7
//   routes enumFailed=false
//   route family=4 interfaceIndex=2 metric=100
//   sockets enumFailed=false
//   socket localAddress=192.0.2.7 localPort=51000 remoteAddress=198.51.100.10 remotePort=443
//   end
//
// A record is a name followed by KEY=VALUE fields, separated by single spaces. Omitted fields have
// the defaults of DiagnosisInput. In values, spaces, '%', ',' and bytes other than printable ASCII
// are percent-encoded (RFC 3986, section 2.1). Empty lines and lines that start with '#' are
// ignored. The line "end" shows that the file is not truncated.

[[nodiscard]] std::string snapshotText(const egress::DiagnosisInput& input);

// Throws CannotRun with the line number if the text is not a saved snapshot.
[[nodiscard]] egress::DiagnosisInput readSnapshotText(std::string_view text);

}  // namespace linux_host

#endif
