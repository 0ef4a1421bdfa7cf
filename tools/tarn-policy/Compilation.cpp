#include "Compilation.h"

#include <dirent.h>

#include <cstring>
#include <map>
#include <string>

#include "Common/Common.h"
#include "Common/Handles.h"
#include "CompiledSet.h"
#include "CutOffRenames.h"
#include "Failure.h"
#include "Files.h"
#include "Threads.h"
#include "Verification.h"
#include "libtarnpolicysync/Paths.h"
#include "reading/Rules.h"

namespace {

constexpr char kLog[] = "/var/log/tarn-policy.log";

// A registration that the library refuses would leave a rule without its names: nothing is compiled then.
void require(int status, const std::string& what) {
    if (status != 0) {
        throw Failure(ExitCode::kFailed, "register " + what,
                      "the library refused it with status " + std::to_string(status), std::string("look into ") + kLog);
    }
}

void registerTables(PolicyModuleManagerInterface& manager, const policydoc::PolicyDocument& document) {
    for (const policydoc::NamespaceEntry& entry : document.namespaces) {
        require(manager.setNamespaceInfo(entry.name), "namespace " + entry.name);
        for (const policydoc::FunctionEntry& function : entry.functions) {
            require(manager.setNamespaceFuncInfo(entry.name, function.module, function.function),
                    "function " + function.module + ":" + function.function + " of namespace " + entry.name);
        }
    }
    for (const policydoc::UserEntry& user : document.users) {
        require(manager.setUidInfo(user.name, user.uid), "user " + user.name);
    }
    for (const policydoc::LabelledName& name : document.labelledNames) {
        require(manager.setFileToGetLabelMap(name.kind, name.name), name.kind + " " + name.name);
    }
    for (const policydoc::DeclaredName& device : document.devices) {
        require(manager.addToDeviceVec(device.name), "device " + device.name);
    }
    for (const policydoc::DeclaredName& module : document.modules) {
        require(manager.addToKmodVec(module.name), "kernel module " + module.name);
    }
}

ExpectedRecords registerRules(PolicyModuleManagerInterface& manager, const Preparation& prepared, Report& report,
                              Progress& progress) {
    progress.stage("handing over", "rules", prepared.plan.rules.size());
    std::uint64_t count = 0;
    ExpectedRecords expected;
    std::map<std::string, const policydoc::PlannedKey*> keys;  // they come in the order in which their rules are read
    for (const policydoc::PlannedKey& key : prepared.plan.keys) {
        keys[key.key] = &key;
    }
    policydoc::Diagnostics diagnostics;
    const bool complete = policydoc::handOver(prepared.document, prepared.plan, prepared.labels, diagnostics,
                                              [&](const std::string& key, PolicyDb& group) {
                                                  count += group.vecPolicy.size();
                                                  expected.add(prepared, *keys.at(key), group);
                                                  registerGroup(manager, key, group);
                                                  progress.done(count);
                                                  return true;
                                              });
    if (!complete) {
        progress.end();
        throw rulesChanged(diagnostics, report);
    }
    return expected;
}

// Message files are written as they fill, so that their number tells how far a compilation is.
std::uint64_t messageFilesWritten() {
    const UniqueDir stream(opendir(paths::kPolicyDataTmp));
    std::uint64_t count = 0;
    while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
        const std::string name = entry->d_name;
        count += name[0] != '.' && !paths::isFrameMessage(name) ? 1 : 0;
    }
    return count;
}

unsigned int runCompilation(PolicyModuleManagerInterface& manager, const Preparation& prepared, Progress& progress) {
    progress.stage("compiling", "message files", prepared.plan.files.size());
    const ProgressPoll poll(progress, messageFilesWritten);
    return manager.compileData();
}

void compileAndCompare(PolicyModuleManagerInterface& manager, const Preparation& prepared,
                       const ExpectedRecords& expected, Report& report, Progress& progress) {
    const unsigned int status = runCompilation(manager, prepared, progress);
    progress.end();
    if (status != 0) {
        throw compilationFailure(status);
    }
    verifySet(prepared, expected, libraryThreads(), report);
}

void reportDigest(Report& report, Progress& progress) {
    progress.stage("digesting", "rules", 0);
    reportDigestOf(paths::kPolicyDataTmp, report);
    progress.end();
}

}  // namespace

std::vector<Variable> wantedVariables(const policydoc::PolicyDocument& document) {
    std::vector<Variable> wanted;
    for (const policydoc::VariableEntry& entry : document.variables) {
        if (entry.value) {
            wanted.push_back({entry.nameSpace, entry.name, *entry.value});
        }
    }
    return wanted;
}

void registerDeclarations(PolicyModuleManagerInterface& manager, const policydoc::PolicyDocument& document) {
    if (manager.prepareWork() != 0) {
        throw Failure(ExitCode::kFailed, std::string("load ") + paths::kClassDefinitions,
                      "the library cannot read it as JSON", "correct the class definitions");
    }
    registerTables(manager, document);
}

void registerGroup(PolicyModuleManagerInterface& manager, const std::string& key, PolicyDb& group) {
    require(manager.addPolicy(key, group), "rule group " + key);
    group.vecPolicy = {};  // the library has its copy
}

Failure rulesChanged(const policydoc::Diagnostics& diagnostics, Report& report) {
    report.fact("diagnostics") = policydoc::toJson(diagnostics);
    report.words(policydoc::toText(diagnostics));
    return Failure(ExitCode::kFailed, "read the rules a second time", "a file of the policy has changed or is gone",
                   "run this again");
}

// The library's status does not tell; what is left of a full disk does.
Failure compilationFailure(unsigned int status) {
    const int noRoom = whyNoRoom("/etc/tarn");
    return Failure(ExitCode::kFailed, "compile the policy",
                   "the library ended with status " + std::to_string(static_cast<int>(status)) +
                       (noRoom == 0 ? "" : std::string("; /etc/tarn: ") + std::strerror(noRoom)),
                   (noRoom == 0 ? "" : adviceForFile(noRoom) + "; else ") + std::string("look into ") + kLog +
                       " for the stage that failed; nothing was sent");
}

void compilePolicy(PolicyModuleManagerInterface& manager, const Preparation& prepared, CompileKind kind, Report& report,
                   Progress& progress) {
    registerDeclarations(manager, prepared.document);
    const ExpectedRecords expected = registerRules(manager, prepared, report, progress);
    settleCutOffRenames(report);  // what tells of them goes with the set and its note
    FullCompilationNote::markUnfinished();
    try {
        compileAndCompare(manager, prepared, expected, report, progress);
        reportDigest(report, progress);
        FullCompilationNote::write(wantedVariables(prepared.document));
    } catch (...) {
        // A set that is not known to be the policy's must not be taken for one later.
        report.warning(std::string(paths::kPolicyDataTmp) + ": " + spoilSet());
        throw;
    }
    if (kind == CompileKind::kForDelivery) {
        return;
    }
    // compileInitData is these two calls; the comparison stands between them, so that a set with gaps never gets its
    // final name.
    const int renamed = manager.finalizeTmpFile();
    if (renamed != 0) {
        throw Failure(
            ExitCode::kFailed, "give the compiled set its final name",
            "the library ended with status " + std::to_string(renamed),
            std::string("look into ") + kLog + ", then run this again; the set is complete under its temporary name");
    }
    FullCompilationNote::remove();
}
