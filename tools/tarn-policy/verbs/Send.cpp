// send: delivers a set that was compiled earlier, by this tool or by a host.
#include "AfterDelivery.h"
#include "CompiledSet.h"
#include "Delivery.h"
#include "Failure.h"
#include "Files.h"
#include "Lock.h"
#include "Progress.h"
#include "Variables.h"
#include "Verb.h"
#include "Verification.h"
#include "libtarnpolicysync/Paths.h"

namespace {

class Send : public Verb {
public:
    void configure(CLI::App& app) override {
        app.add_flag("--keep-vars", keepVariables_, "Set the dynamic variables again that a full set drops");
    }

    // sendPolicy decides by a flag of the manager whether variables are dropped or replayed, and a manager that has not
    // compiled always replays. The steps of sendPolicy are therefore taken one by one here, with the note of the
    // compilation in place of the flag.
    ExitCode run(Report& report) override {
        const SetLock lock;
        requireSet();
        requireSoundSet(report);
        requireWholeSet(report);
        requireKernelEntry();
        const std::optional<std::vector<Variable>> note = FullCompilationNote::read();
        report.fact("fullSet") = note.has_value();
        VariableSettlement settlement{variablesBeforeDelivery(report), note.value_or(std::vector<Variable>{}),
                                      keepVariables_};
        Progress progress;
        PolicyModuleManagerInterface manager;
        holdSignalsToTheEnd();
        deliverMessages(manager, report, progress);
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
        return ExitCode::kDone;
    }

private:
    static void requireSet() {
        if (!setExists()) {
            throw Failure(ExitCode::kNothingToSend, std::string("send ") + paths::kPolicyDataTmp,
                          "there is no compiled set", "compile one with tarn-policy compile, or use tarn-policy apply");
        }
        // The last step of a delivery renames this one and fails without it, when the kernel has everything already.
        if (!fileExists(paths::kSceneInfoTmp)) {
            throw Failure(ExitCode::kUnsoundSet, std::string("send ") + paths::kPolicyDataTmp,
                          std::string(paths::kSceneInfoTmp) + " is missing, which belongs to the set",
                          "compile it again");
        }
    }

    bool keepVariables_ = false;
};

}  // namespace

std::unique_ptr<Verb> makeSend() {
    return std::make_unique<Send>();
}
