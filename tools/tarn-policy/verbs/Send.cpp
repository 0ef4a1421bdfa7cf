// send: delivers a set that was compiled earlier, by this tool or by a host.
#include "CompiledSet.h"
#include "CutOffRenames.h"
#include "Delivery.h"
#include "Failure.h"
#include "Files.h"
#include "Lock.h"
#include "Progress.h"
#include "Variables.h"
#include "Verb.h"
#include "Verification.h"
#include "WaitingSet.h"
#include "libtarnpolicysync/Paths.h"

namespace {

class Send : public Verb {
public:
    void configure(CLI::App& app) override {
        app.add_flag("--keep-vars", keepVariables_, "Set the dynamic variables again that a full set drops");
    }

    ExitCode run(Report& report) override {
        const SetLock lock;
        requireSet();
        requireSoundSet(report);
        requireWholeSet(report);
        requireKernelEntry();
        requireFinishedCompilation(
            std::string("compile it again; where another program has compiled a set since, remove ") +
            FullCompilationNote::kPath);
        const std::optional<std::vector<Variable>> note = FullCompilationNote::read();
        Progress progress;
        PolicyModuleManagerInterface manager;
        deliverWaitingSet(manager, note, keepVariables_, report, progress);
        return ExitCode::kDone;
    }

private:
    static void requireSet() {
        if (!setExists()) {
            throw Failure(ExitCode::kNothingToSend, std::string("send ") + paths::kPolicyDataTmp,
                          "there is no compiled set", "compile one with tarn-policy compile, or use tarn-policy apply");
        }
        if (!isFolder(paths::kPolicyDataTmp)) {
            throw Failure(ExitCode::kUnsoundSet, std::string("send ") + paths::kPolicyDataTmp, "it is no directory",
                          "see what stands at that path, remove it, and compile again");
        }
        // The last step of a delivery renames this one and fails without it, when the kernel has everything already.
        if (!fileExists(paths::kSceneInfoTmp)) {
            throw Failure(ExitCode::kUnsoundSet, std::string("send ") + paths::kPolicyDataTmp,
                          std::string(paths::kSceneInfoTmp) + " is missing, which belongs to the set",
                          renamesWereCutOff()
                              ? "tarn-policy restore finishes the renames that were cut off and delivers "
                                "the set, where it is sound; or compile it again"
                              : "compile it again");
        }
    }

    bool keepVariables_ = false;
};

}  // namespace

std::unique_ptr<Verb> makeSend() {
    return std::make_unique<Send>();
}
