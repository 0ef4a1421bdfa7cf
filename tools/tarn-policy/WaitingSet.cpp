#include "WaitingSet.h"

#include "AfterDelivery.h"
#include "CompiledSet.h"
#include "Delivery.h"
#include "Failure.h"
#include "SettlementNote.h"

void deliverWaitingSet(PolicyModuleManagerInterface& manager, const std::optional<std::vector<Variable>>& note,
                       bool keepVariables, Report& report, Progress& progress) {
    report.fact("fullSet") = note.has_value();
    const std::vector<std::string> failedBefore = settleEarlierDelivery(manager, report);
    const VariableSettlement settlement{variablesBeforeDelivery(report), note.value_or(std::vector<Variable>{}),
                                        keepVariables, failedBefore};
    holdSignalsToTheEnd();
    if (note) {
        noteVariablesToDrop(settlement);
    }
    try {
        deliverMessages(manager, report, progress);
    } catch (...) {
        SettlementNote::forget();
        throw;
    }
    if (note) {
        static_cast<void>(manager.clearDynamicVariableInfo());  // what it leaves is found by the settlement
    }
    report.line("delivered: the kernel holds the whole set");
    const std::optional<Failure> unsettled = failureOf([&] {
        note ? settleDroppedVariables(manager, settlement, report)
             : settleReplayedVariables(manager, settlement, report);
    });
    // The names come last: without them the set can be sent again, but dropped variables are known only here.
    if (const int status = manager.finalizeTmpFile()) {
        failWith(renameFailure(status), unsettled, report);
    }
    FullCompilationNote::remove();
    if (unsettled) {
        throw *unsettled;
    }
}
