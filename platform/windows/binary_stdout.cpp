// Linked into egress-selfcheck on Windows, where standard output would write "\r\n" for "\n": its
// output is the same bytes everywhere. Runs before main.

#include <cstdio>
#include <fcntl.h>
#include <io.h>

namespace {

[[maybe_unused]] const int previousMode = _setmode(_fileno(stdout), _O_BINARY);

}  // namespace
