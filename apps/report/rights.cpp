#include "apps/report/rights.h"

#include <cap-ng.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "apps/report/files.h"

namespace egress::report {
namespace {

// Capabilities of the process, without the bounding set: that gives nothing by itself.
bool hasCapabilities() {
  if (capng_get_caps_process() != 0) return true;
  return capng_have_capabilities(CAPNG_SELECT_CAPS) != CAPNG_NONE ||
         capng_have_capabilities(CAPNG_SELECT_AMBIENT) != CAPNG_NONE;
}

}  // namespace

bool isCalledByRoot() {
  return getuid() == 0;
}

void dropRights() {
  // The securebits and the bounding set need CAP_SETPCAP, which not every privileged caller has.
  // Without it these steps fail, but PR_SET_NO_NEW_PRIVS alone keeps a program from regaining what
  // is dropped. capng_lock() sets it as well, and does not tell.
  capng_lock();
  capng_clear(CAPNG_SELECT_ALL);
  capng_apply(CAPNG_SELECT_BOUNDS);
  bool isDropped = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
  isDropped = setresgid(getgid(), getgid(), getgid()) == 0 && isDropped;
  isDropped = setresuid(getuid(), getuid(), getuid()) == 0 && isDropped;
  capng_clear(CAPNG_SELECT_ALL);
  capng_apply(CAPNG_SELECT_AMBIENT);
  capng_apply(CAPNG_SELECT_CAPS);
  // What counts is what is left, whichever step failed.
  if (!isDropped || hasCapabilities()) throw CannotRun("cannot give up all capabilities");
}

}  // namespace egress::report
