#ifndef EGRESS_TESTS_LAWS_MUTATE_H
#define EGRESS_TESTS_LAWS_MUTATE_H

#include <string>
#include <string_view>

#include "tests/laws/choices.h"

namespace egress::test {

// Mutates a text at one position: inserts a byte of the alphabet, replaces a byte by one, deletes a
// byte, truncates the text, or repeats its end.
void mutate(std::string& text, std::string_view alphabet, Choices& choices);

}  // namespace egress::test

#endif
