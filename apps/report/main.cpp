// egress-report: diagnoses this machine or a saved snapshot.

#include <iostream>
#include <new>

#include "apps/report/diagnose_once.h"
#include "apps/report/files.h"
#include "apps/report/options.h"
#include "apps/report/text.h"

int main(int argc, char** argv) {
  namespace report = egress::report;
  report::reserveStandardStreams();
  try {
    const auto options = report::readOptions(argc, argv);
    const int status = options ? report::diagnoseOnce(*options) : 0;
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
