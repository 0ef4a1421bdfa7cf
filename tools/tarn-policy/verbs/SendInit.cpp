// send-init and restore: deliver a finished set, at boot or again.
#include "CompiledSet.h"
#include "Files.h"
#include "FinishedSet.h"
#include "Lock.h"
#include "Verb.h"

namespace {

class SendInit : public Verb {
public:
    void configure(CLI::App& app) override {
        app.add_option("MOUNTPOINT", mountPoint_,
                       "Where the tree with the set is mounted (default: this machine's own)");
    }

    ExitCode run(Report& report) override {
        const SetLock lock;
        deliverFinishedSet(mountPoint_, report);
        return ExitCode::kDone;
    }

private:
    std::string mountPoint_;
};

class Restore : public Verb {
public:
    void configure(CLI::App& app) override {
        app.footer("Whatever the kernel holds, the finished set /etc/tarn/policydata takes its place.");
    }

    ExitCode run(Report& report) override {
        const SetLock lock;
        deliverFinishedSet("", report);
        if (setExists()) {
            report.warning(std::string(paths::kPolicyDataTmp) + " stays as it is and was not delivered: " +
                           (fileExists(paths::kSceneInfoTmp) ? "tarn-policy send delivers it, where it is sound"
                                                             : std::string("without ") + paths::kSceneInfoTmp +
                                                                   " it cannot be sent; remove it, or compile again"));
        }
        return ExitCode::kDone;
    }
};

}  // namespace

std::unique_ptr<Verb> makeSendInit() {
    return std::make_unique<SendInit>();
}
std::unique_ptr<Verb> makeRestore() {
    return std::make_unique<Restore>();
}
