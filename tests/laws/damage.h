#ifndef EGRESS_TESTS_LAWS_DAMAGE_H
#define EGRESS_TESTS_LAWS_DAMAGE_H

#include <string>
#include <string_view>

#include "tests/laws/choices.h"

namespace egress::test {

// Changes a text in one place: one of the telling bytes is put in, or takes the place of a byte; a
// byte is gone, or all behind it, or all behind it comes a second time.
void damage(std::string& text, std::string_view tellingBytes, Choices& choices);

}  // namespace egress::test

#endif
