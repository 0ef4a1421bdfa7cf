// The renames that give a set its final name, after a delivery or a compilation for the next boot: what is left where they
// did not come to their end.
#ifndef TARN_POLICY_CUT_OFF_RENAMES_H
#define TARN_POLICY_CUT_OFF_RENAMES_H

#include <string>

#include "Report.h"

// Whether the renames began and ended too early. The side file with the namespaces goes first and the set last, so that a
// complete set under its temporary name without that file is left only by them; in between the old set is removed file by
// file, and may have lost messages with its end message still there. A mere copy of the finished set, which the library's
// compilation of a section leaves where it fails early, proves the opposite. `mountPoint` is empty for this machine.
bool renamesWereCutOff(const std::string& mountPoint = "");

// Before another compilation replaces the set under the temporary name, and with it all that tells of the renames: brings
// them to their end where that set is sound, so that the finished set is the one that the kernel took. Where it is
// damaged, the old set's end message is taken away, without which nobody sends it. Says what it did. Throws Failure.
void finishCutOffRenames(Report& report);

#endif
