#ifndef EGRESS_REPORT_HTML_PAGE_H
#define EGRESS_REPORT_HTML_PAGE_H

#include <string>

#include "egress_snapshot/host_snapshot.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::report {

// The page that shows a snapshot in a browser, without the snapshot.
struct HtmlPage {
  std::string before;
  std::string after;
};

// Reads the page that is installed with this program: ../share/egress/egress-viewer.html from its
// folder, or egress-viewer.html in its folder. Throws CannotRun if there is none.
[[nodiscard]] HtmlPage readHtmlPage();

void writeHtmlPage(const HtmlPage& page, const snapshot::HostSnapshot& snapshot,
                   const snapshot::TextSink& sink);

}  // namespace egress::report

#endif
