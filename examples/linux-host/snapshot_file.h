#ifndef EGRESS_EXAMPLES_LINUX_HOST_SNAPSHOT_FILE_H
#define EGRESS_EXAMPLES_LINUX_HOST_SNAPSHOT_FILE_H

#include <string>
#include <string_view>

#include "egress/core/diagnosis_input.h"

namespace linux_host {

// A saved snapshot is text that holds a whole DiagnosisInput, a record a line:
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
// A record is a word and KEY=VALUE fields, with one blank between them. What is left out keeps the
// default of a fresh DiagnosisInput. Blanks, '%', ',' and bytes that are not printable ASCII stand
// percent-encoded (RFC 3986, section 2.1). Empty lines and lines that begin with '#' are skipped.
// The last line says that nothing was cut off.

[[nodiscard]] std::string snapshotText(const egress::DiagnosisInput& input);

// Throws CannotRun, which begins with the number of the line, for text that is no saved snapshot.
[[nodiscard]] egress::DiagnosisInput readSnapshotText(std::string_view text);

}  // namespace linux_host

#endif
