// What a delivery leaves on disk while it works, for the run after it: the dynamic variables that the library forgets
// with the end message. A run that is killed between that and its last variable would otherwise be the only one to know
// them.
#ifndef TARN_POLICY_SETTLEMENT_NOTE_H
#define TARN_POLICY_SETTLEMENT_NOTE_H

#include <vector>

#include "Variables.h"

struct UnsettledVariable {
    Variable variable;
    bool keep = false;  // to be set again; else only to be named as dropped
};

class SettlementNote {
public:
    static constexpr char kPath[] = "/etc/tarn/.tarn-policy-vars";

    // Written as a whole and synced; takes the place of an earlier one. Without variables there is none. Throws Failure.
    static void write(const std::vector<Variable>& saved, bool keep);
    static void remove();
    // After a delivery that dropped nothing. A note that can't be removed does no harm then.
    static void forget();

    // The variables of the note that are not saved by now: those that a delivery dropped and nobody has settled since.
    static std::vector<UnsettledVariable> unsettled(const std::vector<Variable>& saved);
};

#endif
