// var list, var set, var clear.
#include <unistd.h>

#include "Failure.h"
#include "Files.h"
#include "Lock.h"
#include "SettlementNote.h"
#include "Variables.h"
#include "Verb.h"
#include "libtarnpolicysync/Paths.h"

namespace {

void reportVariables(const SavedVariables& saved, Report& report) {
    report.fact("variables") = toJson(saved.variables);
    warnOfUnreadable(saved, report);
}

// A delivery that was killed has dropped these, and nobody has settled them since.
void warnOfUnsettled(const std::vector<UnsettledVariable>& unsettled, Report& report) {
    for (const UnsettledVariable& entry : unsettled) {
        Json::Value& fact = report.fact("unsettledVariables").append(Json::Value(Json::objectValue));
        fact["variable"] = toText(entry.variable);
        fact["keep"] = entry.keep;
        report.warning("a delivery that was ended has dropped " + toText(entry.variable) +
                       (entry.keep ? "; the next delivery sets it again" : ""));
    }
}

class VarList : public Verb {
public:
    void configure(CLI::App& app) override {
        app.footer("Prints namespace, name and value, one variable a line, separated by blanks.");
    }

    ExitCode run(Report& report) override {
        const SavedVariables saved = readSavedVariables();
        reportVariables(saved, report);
        warnOfUnsettled(SettlementNote::unsettled(saved.variables), report);
        for (const Variable& variable : saved.variables) {
            report.line(variable.nameSpace + " " + variable.name + " " + std::to_string(variable.value));
        }
        return ExitCode::kDone;
    }
};

class VarSet : public Verb {
public:
    void configure(CLI::App& app) override {
        app.add_option("NS", nameSpace_, "Namespace of the variable")->required();
        app.add_option("NAME", name_, "Name of the variable")->required();
        app.add_option("VALUE", value_, "0 switches off, any other number up to 2147483647 switches on")->required();
    }

    ExitCode run(Report& report) override {
        checkVariableName("namespace", nameSpace_);
        checkVariableName("variable name", name_);
        const Variable variable{nameSpace_, name_, parseVariableValue(value_)};
        const SetLock lock;
        requireEntry(variable);
        reportVariables(readSavedVariables(), report);  // saving writes the whole file: skipped lines will be gone
        PolicyModuleManagerInterface manager;
        const std::vector<std::string> failed = setVariables(manager, {variable}).failed;
        if (!failed.empty()) {
            throw Failure(ExitCode::kVariables, "set " + nameSpace_ + ":" + name_, failed.front(),
                          "where only the state file failed, the kernel holds the new value already; make room in "
                          "/etc/tarn, then set it again");
        }
        report.fact("variables") = toJson(readSavedVariables().variables);
        report.line("set " + toText(variable));
        return ExitCode::kDone;
    }

private:
    static void requireEntry(const Variable& variable) {
        const std::string entry = paths::kernelParameter(variable.nameSpace, variable.name);
        if (!fileExists(entry)) {
            const bool loaded = fileExists("/sys/kernel/security/tarn");
            throw Failure(loaded ? ExitCode::kVariables : ExitCode::kNoKernel, "switch " + toText(variable),
                          "the kernel has no entry " + entry,
                          loaded ? "check the names: the module makes an entry for each variable that it knows"
                                 : "load the kernel module tarn_main and mount securityfs at /sys/kernel/security");
        }
    }

    std::string nameSpace_;
    std::string name_;
    std::string value_;
};

class VarClear : public Verb {
public:
    void configure(CLI::App& app) override {
        app.footer("Prints each variable that it forgets. The kernel keeps its switches until it is told otherwise.");
    }

    ExitCode run(Report& report) override {
        const SetLock lock;
        const SavedVariables saved = readSavedVariables();
        reportVariables(saved, report);
        PolicyModuleManagerInterface manager;
        if (manager.clearDynamicVariableInfo() != 0) {
            throw Failure(ExitCode::kVariables, std::string("remove ") + paths::kDynamicInfo,
                          "the library could not remove it", "run as root, and see what stands at that path");
        }
        for (const Variable& variable : saved.variables) {
            report.line("forgot " + toText(variable));
        }
        for (const UnsettledVariable& entry : SettlementNote::unsettled(saved.variables)) {
            report.line("forgot " + toText(entry.variable) + ", which an earlier delivery had dropped");
        }
        SettlementNote::remove();
        return ExitCode::kDone;
    }
};

}  // namespace

std::unique_ptr<Verb> makeVarList() {
    return std::make_unique<VarList>();
}
std::unique_ptr<Verb> makeVarSet() {
    return std::make_unique<VarSet>();
}
std::unique_ptr<Verb> makeVarClear() {
    return std::make_unique<VarClear>();
}
