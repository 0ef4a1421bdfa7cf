// From a policy document to what is handed to the library: read, checked, names resolved, planned.
#ifndef TARN_POLICY_PREPARATION_H
#define TARN_POLICY_PREPARATION_H

#include <optional>
#include <string>

#include "Progress.h"
#include "Report.h"
#include "libtarnpolicydoc/Labels.h"
#include "libtarnpolicydoc/Plan.h"
#include "libtarnpolicydoc/PolicyDocument.h"

struct PreparationOptions {
    std::string policy;
    std::string classes;  // path of the class definitions
    std::string labels;   // label table; empty: the label manager is asked
    bool split = true;
    bool allowEmpty = false;
    unsigned int threads = 1;
    std::optional<policydoc::MessageGroup> section;  // plan this section alone
};

struct Preparation {
    policydoc::PolicyDocument document;
    policydoc::Labels labels;
    policydoc::Plan plan;
    std::optional<policydoc::MessageGroup> section;
};

// Finds all mistakes in one run and reports them before it throws the Failure: kMistakes, kLabels or kEmptyRules. The
// plan is reported too, where there is one.
Preparation prepare(const PreparationOptions& options, Report& report, Progress& progress);

#endif
