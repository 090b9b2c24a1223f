// egress-report: diagnoses this machine or saved snapshots.

#include <iostream>
#include <new>

#include "apps/report/batch.h"
#include "apps/report/diagnose_once.h"
#include "apps/report/files.h"
#include "apps/report/options.h"
#include "apps/report/text.h"
#include "apps/report/watch.h"

namespace egress::report {
namespace {

int run(const Options& options) {
  if (options.watchSeconds) return watch(options);
  return isBatch(options) ? diagnoseBatch(options) : diagnoseOnce(options);
}

}  // namespace
}  // namespace egress::report

int main(int argc, char** argv) {
  namespace report = egress::report;
  report::reserveStandardStreams();
  try {
    const auto options = report::readOptions(argc, argv);
    const int status = options ? report::run(*options) : 0;
    if (!std::cout.flush()) {
      throw report::CannotRun(report::withSystemError("cannot write to standard output"));
    }
    return status;
  } catch (const std::bad_alloc&) {
    report::printError("not enough memory");
  } catch (const std::exception& error) {
    report::printError(error.what());
  }
  return 2;
}
