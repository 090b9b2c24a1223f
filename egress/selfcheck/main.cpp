#include "egress/selfcheck/run_self_check.h"

#include <cstdio>

int main() {
  return egress::runSelfCheck(stdout);
}
