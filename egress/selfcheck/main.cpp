#include <cstdio>

#include "egress/selfcheck/run_self_check.h"

int main() {
  return egress::runSelfCheck(stdout);
}
