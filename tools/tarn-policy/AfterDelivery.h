// What happens to dynamic variables once a set is delivered: dropped or replayed as the library does, kept where the
// user wants that, and those of the policy set. Every one is named.
#ifndef TARN_POLICY_AFTER_DELIVERY_H
#define TARN_POLICY_AFTER_DELIVERY_H

#include <functional>
#include <optional>
#include <vector>

#include "Failure.h"
#include "Report.h"
#include "Variables.h"

// The variables saved before a delivery. Lines that the library skips are warned of: a delivery that drops the variables
// removes them with the file.
std::vector<Variable> variablesBeforeDelivery(Report& report);

struct VariableSettlement {
    std::vector<Variable> saved;                 // those before the delivery
    std::vector<Variable> wanted;                // those of the policy
    bool keep = false;                           // --keep-vars
    std::vector<std::string> failedBefore = {};  // what settleEarlierDelivery gave
};

// Finishes what an earlier delivery left when it was killed: variables that it was to keep are set again, those that it
// dropped are named. Gives those that could not be set, which are warned of and forgotten then.
std::vector<std::string> settleEarlierDelivery(PolicyModuleManagerInterface& manager, Report& report);

// Before a delivery that drops variables: leaves a note of them, for the run after this one should it be killed. Throws
// Failure.
void noteVariablesToDrop(const VariableSettlement& settlement);

// After a delivery of a full set, once the library has dropped its variables; removes the note. Throws Failure
// (kVariables) at the end when one was not dropped, kept or set.
void settleDroppedVariables(PolicyModuleManagerInterface& manager, const VariableSettlement& settlement,
                            Report& report);

// After a delivery of any other set, whose variables stay: switches them again. Throws as above.
void settleReplayedVariables(PolicyModuleManagerInterface& manager, const VariableSettlement& settlement,
                             Report& report);

// Settles at once and gives a failure back, so that the rest of the delivery is done before it is reported.
std::optional<Failure> failureOf(const std::function<void()>& settle);

// Of two failures the one to end with; the other one is told as a warning.
[[noreturn]] void failWith(const Failure& failure, const std::optional<Failure>& other, Report& report);

#endif
