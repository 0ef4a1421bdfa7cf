// Delivers a set that has its final name: that of this machine, or that of a tree below a mount point.
#ifndef TARN_POLICY_FINISHED_SET_H
#define TARN_POLICY_FINISHED_SET_H

#include <string>

#include "Report.h"

// Looks at the set, delivers it with sendInitPolicy and settles the variables of the same tree. An empty mount point is
// this machine, where renames that were cut off are finished first. Else nothing is renamed or removed. Throws Failure.
void deliverFinishedSet(const std::string& mountPoint, Report& report);

#endif
