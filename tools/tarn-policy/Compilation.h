// Hands a prepared policy to the library, has it compiled, and holds the compiled set against the plan.
#ifndef TARN_POLICY_COMPILATION_H
#define TARN_POLICY_COMPILATION_H

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

// prepareWork, every registration, the rules group by group, the compilation, and the comparison of the set with the
// plan. For a delivery the note of a full compilation is written. Throws Failure.
void compilePolicy(PolicyModuleManagerInterface& manager, const Preparation& prepared, CompileKind kind, Report& report,
                   Progress& progress);

#endif
