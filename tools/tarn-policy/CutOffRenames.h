// The renames that give a set its final name, after a delivery or a compilation for the next boot: what is left where they
// did not come to their end.
#ifndef TARN_POLICY_CUT_OFF_RENAMES_H
#define TARN_POLICY_CUT_OFF_RENAMES_H

#include <string>

#include "Report.h"

// Whether the renames began and ended too early. The side file with the namespaces goes first and the set last; in between
// the old set is removed file by file, and may have lost messages with its end message still there. Two things leave a set
// with an end message under its temporary name and that side file not: these renames, and the library's compilation of a
// section where it fails early, which leaves a whole or partial copy of the finished set. The clock of the file system
// tells them apart. A rename changes the status time of the file: renamed, the side file is younger than the end message;
// beside a copy it is older. What can't be told, for equal times or without the side file, counts as cut off, so that the
// finished set is not sent as it stands. A clock that was set back between compilation and rename misleads this, and so
// does who changes mode or owner of one of the two files later. No link is followed. `mountPoint` is empty for this
// machine.
bool renamesWereCutOff(const std::string& mountPoint = "");

// Brings such renames to their end, so that the finished set is the one that the kernel took, and says so. False, with
// nothing touched, where the set under the temporary name is damaged or lacks messages. Throws Failure where a rename
// fails; the next run can try again.
bool finishCutOffRenames(Report& report);

// Before another compilation replaces the set under the temporary name, and with it all that tells of the renames:
// finishes them or, where that set is damaged, takes the finished set's end message away, without which nobody sends it.
// Says what it did; does nothing where no renames were cut off. Throws Failure.
void settleCutOffRenames(Report& report);

#endif
