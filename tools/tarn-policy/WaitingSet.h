// Delivers the set that waits under its temporary name, and finishes it.
#ifndef TARN_POLICY_WAITING_SET_H
#define TARN_POLICY_WAITING_SET_H

#include <optional>
#include <vector>

#include "Progress.h"
#include "Report.h"
#include "Variables.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

// sendPolicy decides by a flag of the manager whether variables are dropped or replayed, and a manager that has not
// compiled always replays. The steps of sendPolicy are therefore taken one by one here, with the note of the compilation
// in place of the flag: with a note the variables are dropped and those of the note set, else they are replayed. Throws
// Failure. From the call on, signals wait to the end of the process.
void deliverWaitingSet(PolicyModuleManagerInterface& manager, const std::optional<std::vector<Variable>>& note,
                       bool keepVariables, Report& report, Progress& progress);

#endif
