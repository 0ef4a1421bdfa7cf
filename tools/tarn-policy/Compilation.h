// Hands a prepared policy to the library, has it compiled, and holds the compiled set against the plan.
#ifndef TARN_POLICY_COMPILATION_H
#define TARN_POLICY_COMPILATION_H

#include "Failure.h"
#include "Preparation.h"
#include "Progress.h"
#include "Report.h"
#include "Variables.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

enum class CompileKind {
    kForDelivery,  // compileData: the set keeps its temporary name
    kInitial,      // compileInitData: the set gets its final name
};

// The variables that a policy wants set after its delivery.
std::vector<Variable> wantedVariables(const policydoc::PolicyDocument& document);

// prepareWork and every registration but the rules. Throws Failure.
void registerDeclarations(PolicyModuleManagerInterface& manager, const policydoc::PolicyDocument& document);

// addPolicy with the status looked at. Throws Failure.
void registerGroup(PolicyModuleManagerInterface& manager, const std::string& key, PolicyDb& group);

// What to throw where the rules could not be read again to be handed over; tells what was found.
Failure rulesChanged(const policydoc::Diagnostics& diagnostics, Report& report);

// What to throw where the library's compilation ended with a status.
Failure compilationFailure(unsigned int status);

// prepareWork, every registration, the rules group by group, what is left of renames that were cut off, the compilation,
// and the comparison of the set with the plan. For a delivery the note of a full compilation is written. Throws Failure.
void compilePolicy(PolicyModuleManagerInterface& manager, const Preparation& prepared, CompileKind kind, Report& report,
                   Progress& progress);

#endif
