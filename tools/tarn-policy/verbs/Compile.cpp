// compile: a set on disk, for send or, with --init, for an initial delivery.
#include "Compilation.h"
#include "Lock.h"
#include "Preparation.h"
#include "Threads.h"
#include "Verb.h"
#include "libtarnpolicysync/Paths.h"

namespace {

class Compile : public Verb {
public:
    void configure(CLI::App& app) override {
        app.add_option("POLICY", options_.policy, "The policy document (JSON)")->required();
        app.add_flag("--init", initial_, "Give the set its final name at once, for a delivery at the next boot");
        app.add_flag("!--no-split", options_.split, "Leave rules under their keys; refuse what overflows a message");
        app.add_flag("--allow-empty", options_.allowEmpty, "Only warn about rules that give no record");
    }

    ExitCode run(Report& report) override {
        const SetLock lock;
        options_.classes = paths::kClassDefinitions;
        options_.threads = libraryThreads();
        Progress progress;
        const Preparation prepared = prepare(options_, report, progress);
        PolicyModuleManagerInterface manager;
        compilePolicy(manager, prepared, initial_ ? CompileKind::kInitial : CompileKind::kForDelivery, report,
                      progress);
        report.line(std::string("compiled into ") + (initial_ ? paths::kPolicyData : paths::kPolicyDataTmp));
        return ExitCode::kDone;
    }

private:
    PreparationOptions options_;
    bool initial_ = false;
};

}  // namespace

std::unique_ptr<Verb> makeCompile() {
    return std::make_unique<Compile>();
}
