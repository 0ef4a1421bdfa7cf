// section: recompiles the rules of one namespace and group and puts them into the set.
#include "Delivery.h"
#include "Lock.h"
#include "Preparation.h"
#include "RestoreHint.h"
#include "SectionBase.h"
#include "SectionCompilation.h"
#include "Threads.h"
#include "Verb.h"
#include "WaitingSet.h"
#include "libtarnpolicysync/Paths.h"

namespace {

class Section : public Verb {
public:
    void configure(CLI::App& app) override {
        app.add_option("NAMESPACE", names_.nameSpace, "Namespace of the section")->required();
        app.add_option("GROUP", names_.group, "Group of the section (\"\" for rules without one)")->required();
        app.add_option("POLICY", options_.policy, "The whole policy document (JSON)")->required();
        app.add_flag("--send", send_, "Deliver the set with its new section at once");
        app.add_flag("--allow-empty", options_.allowEmpty, "Only warn about rules of the section that give no record");
    }

    ExitCode run(Report& report) override {
        const SetLock lock;
        if (send_) {
            requireKernelEntry();
        }
        options_.classes = paths::kClassDefinitions;
        options_.threads = libraryThreads();
        options_.section = names_;
        Progress progress;
        const Preparation prepared = prepare(options_, report, progress);
        const SectionBase base = requireSectionBase(report);
        const std::vector<std::string> replaced = requireHarmlessSection(prepared, base, report);
        reportReplaced(replaced, report);
        PolicyModuleManagerInterface manager;
        compileSection(manager, prepared, base, replaced, report, progress);
        report.line(std::string("compiled into ") + paths::kPolicyDataTmp + ", on " + base.directory);
        if (send_) {
            deliverWaitingSet(manager, std::nullopt, true, report, progress);
        }
        return ExitCode::kDone;
    }

    std::string wayBack() const override { return restoreHint(); }

private:
    static void reportReplaced(const std::vector<std::string>& replaced, Report& report) {
        Json::Value& fact = report.fact("replaced");
        fact = Json::Value(Json::arrayValue);
        for (const std::string& name : replaced) {
            fact.append(name);
        }
    }

    PreparationOptions options_;
    policydoc::MessageGroup names_;
    bool send_ = false;
};

}  // namespace

std::unique_ptr<Verb> makeSection() {
    return std::make_unique<Section>();
}
