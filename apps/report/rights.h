#ifndef EGRESS_REPORT_RIGHTS_H
#define EGRESS_REPORT_RIGHTS_H

namespace egress::report {

// Whether root called this program: its real user ID, which file capabilities and the setuid bit do
// not change.
[[nodiscard]] bool isCalledByRoot();

// Gives up all capabilities and the user and group that the file of this program may have set, so
// that neither this process nor a program that it starts can have them again. What is left are the
// rights of an ordinary program of the caller. Throws CannotRun if anything of that is left.
void dropRights();

}  // namespace egress::report

#endif
