// apply: from a policy document to the kernel in one process.
#include "AfterDelivery.h"
#include "Compilation.h"
#include "CompiledSet.h"
#include "Delivery.h"
#include "Lock.h"
#include "Preparation.h"
#include "RestoreHint.h"
#include "SettlementNote.h"
#include "Threads.h"
#include "Verb.h"
#include "libtarnpolicysync/Paths.h"

namespace {

class Apply : public Verb {
public:
    void configure(CLI::App& app) override {
        app.add_option("POLICY", options_.policy, "The policy document (JSON)")->required();
        app.add_flag("!--no-split", options_.split, "Leave rules under their keys; refuse what overflows a message");
        app.add_flag("--allow-empty", options_.allowEmpty, "Only warn about rules that give no record");
        app.add_flag("--keep-vars", keepVariables_, "Set the dynamic variables again that the delivery drops");
    }

    ExitCode run(Report& report) override {
        const SetLock lock;
        requireKernelEntry();
        options_.classes = paths::kClassDefinitions;
        options_.threads = libraryThreads();
        Progress progress;
        VariableSettlement settlement{{}, {}, keepVariables_, {}};
        PolicyModuleManagerInterface manager;
        settlement.failedBefore = settleEarlierDelivery(manager, report);
        {
            const Preparation prepared = prepare(options_, report, progress);
            settlement.saved = variablesBeforeDelivery(report);
            settlement.wanted = wantedVariables(prepared.document);
            compilePolicy(manager, prepared, CompileKind::kForDelivery, report, progress);
        }
        holdSignalsToTheEnd();
        noteVariablesToDrop(settlement);
        const DeliveryEnd end = deliverWithLibrary(manager, report, progress);
        std::optional<Failure> unsettled;
        if (allTaken(end)) {
            report.line("delivered: the kernel holds the whole set");
            unsettled = failureOf([&] { settleDroppedVariables(manager, settlement, report); });
        }
        if (end.stopped && !allTaken(end) && !end.endUnclear) {
            SettlementNote::forget();
        }
        if (end.status != 0) {
            failWith(deliveryFailure(end), unsettled, report);
        }
        FullCompilationNote::remove();
        if (unsettled) {
            throw *unsettled;
        }
        return ExitCode::kDone;
    }

    std::string wayBack() const override { return restoreHint(); }

private:
    PreparationOptions options_;
    bool keepVariables_ = false;
};

}  // namespace

std::unique_ptr<Verb> makeApply() {
    return std::make_unique<Apply>();
}
