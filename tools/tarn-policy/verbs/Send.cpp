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
        requireKernelEntry();
        const std::optional<std::vector<Variable>> note = FullCompilationNote::read();
        report.fact("fullSet") = note.has_value();
        VariableSettlement settlement{readSavedVariables().variables, note.value_or(std::vector<Variable>{}),
                                      keepVariables_};
        Progress progress;
        PolicyModuleManagerInterface manager;
        deliverMessages(manager, report, progress);
        if (note) {
            static_cast<void>(manager.clearDynamicVariableInfo());  // what it leaves is found by the settlement
        }
        finalize(manager);
        FullCompilationNote::remove();
        report.line("delivered: the kernel holds the whole set");
        if (note) {
            settleDroppedVariables(manager, settlement, report);
        } else {
            settleReplayedVariables(manager, settlement, report);
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

    static void finalize(PolicyModuleManagerInterface& manager) {
        const int status = manager.finalizeTmpFile();
        if (status != 0) {
            throw Failure(
                ExitCode::kFailed, "give the delivered files their final names",
                "the library ended with status " + std::to_string(status) + "\n  now: the kernel holds the whole set",
                "look into /var/log/tarn-policy.log, then send again");
        }
    }

    bool keepVariables_ = false;
};

}  // namespace

std::unique_ptr<Verb> makeSend() {
    return std::make_unique<Send>();
}
