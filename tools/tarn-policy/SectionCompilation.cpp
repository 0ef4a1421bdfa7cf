#include "SectionCompilation.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "Common/Common.h"
#include "Compilation.h"
#include "CompiledSet.h"
#include "Failure.h"
#include "Files.h"
#include "Threads.h"
#include "Verification.h"
#include "libtarnpolicysync/Paths.h"

namespace {

// The library would copy a finished set by itself, in an order that may bring the end message before the others.
void copyWithoutEnd(const std::string& directory, const std::vector<std::string>& messages) {
    if (createDirectory(paths::kPolicyDataTmp) != 0) {
        throw Failure(ExitCode::kFailed, std::string("make ") + paths::kPolicyDataTmp, "the library could not",
                      "look into /var/log/tarn-policy.log");
    }
    for (const std::string& name : messages) {
        if (name != paths::kEndName && copyFile(paths::inDirectory(directory, name).c_str(),
                                                paths::inDirectory(paths::kPolicyDataTmp, name).c_str()) != 0) {
            throw Failure(ExitCode::kFailed, "copy " + paths::inDirectory(directory, name), "the library could not",
                          "make room in /etc/tarn; /var/log/tarn-policy.log has the reason");
        }
    }
}

ExpectedRecords registerSection(PolicyModuleManagerInterface& manager, const Preparation& prepared, Report& report,
                                Progress& progress) {
    progress.stage("handing over", "rules", prepared.plan.rules.size());
    ExpectedRecords expected;
    std::size_t count = 0;
    policydoc::Diagnostics diagnostics;
    const bool complete = policydoc::handOverSection(
        prepared.document, prepared.plan, *prepared.section, diagnostics, [&](const std::string& key, PolicyDb& group) {
            const std::size_t rules = group.vecPolicy.size();
            expected.add(prepared, prepared.plan.keys.front(), group, count);
            registerGroup(manager, key, group);
            count += rules;
            progress.done(count);
            return true;
        });
    progress.end();
    if (!complete) {
        throw rulesChanged(diagnostics, report);
    }
    return expected;
}

// What must be in the set afterwards beside the section's new messages and the end message, which comes last.
std::vector<std::string> otherMessages(const std::vector<std::string>& messages,
                                       const std::vector<std::string>& replaced) {
    std::vector<std::string> sorted = messages;
    std::sort(sorted.begin(), sorted.end());
    std::vector<std::string> others;
    std::set_difference(sorted.begin(), sorted.end(), replaced.begin(), replaced.end(), std::back_inserter(others));
    others.erase(std::remove(others.begin(), others.end(), paths::kEndName), others.end());
    return others;
}

void requireMessages(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (!fileExists(paths::inDirectory(paths::kPolicyDataTmp, name))) {
            throw Failure(ExitCode::kUnsoundSet, "keep the messages of other sections", name + " is missing",
                          "look into /var/log/tarn-policy.log; nothing was sent");
        }
    }
}

// After a failure. What waited before can't be had back; a copy of the finished set goes as a whole.
void undo(const SectionBase& base, Report& report) {
    static_cast<void>(removeDirectory(paths::kSectionData));  // rebuilt by every compilation of a section
    if (base.waiting) {
        report.warning(std::string(paths::kPolicyDataTmp) + ": " + spoilSet());
        return;
    }
    if (setExists() && removeDirectory(paths::kPolicyDataTmp) != 0) {
        report.warning(std::string(paths::kPolicyDataTmp) + " could not be removed; " + spoilSet());
    } else {
        static_cast<void>(unlink(FullCompilationNote::kPath));  // speaks of a set that is gone
    }
    for (const char* side : {paths::kSceneInfoTmp, paths::kFuncInfoTmp, paths::kUserInfoTmp}) {
        static_cast<void>(unlink(side));  // belongs to no set now; the next compilation writes it anew
    }
}

}  // namespace

void compileSection(PolicyModuleManagerInterface& manager, const Preparation& prepared, const SectionBase& base,
                    const std::vector<std::string>& replaced, Report& report, Progress& progress) {
    registerBase(manager, base);
    registerDeclarations(manager, prepared.document);
    const ExpectedRecords expected = registerSection(manager, prepared, report, progress);
    const std::vector<std::string> messages = messagesInOrder(base.directory);
    const std::string endMessage = readWholeFile(paths::inDirectory(base.directory, paths::kEndName));
    const bool wasFull = base.waiting && FullCompilationNote::read().has_value();
    FullCompilationNote::markUnfinished();  // where it can't be written, nothing has been touched
    try {
        if (base.waiting) {
            static_cast<void>(spoilSet());  // where it can't, the compilation can't write there either
            FullCompilationNote::markUnfinished();
        } else {
            copyWithoutEnd(base.directory, messages);
        }
        progress.stage("compiling", "rules", prepared.plan.rules.size());
        const unsigned int status = manager.compileSectionPolicy(prepared.section->nameSpace, prepared.section->group);
        progress.end();
        if (status != 0) {
            throw compilationFailure(status);
        }
        requireMessages(otherMessages(messages, replaced));
        writeWholeFile(paths::kEndMessage, endMessage);
        verifySet(prepared, expected, libraryThreads(), report);
        FullCompilationNote::remove();
    } catch (...) {
        progress.end();
        undo(base, report);
        throw;
    }
    if (wasFull) {
        report.warning(
            "the set that waited came from a full compilation; its delivery now keeps the saved dynamic "
            "variables and does not set those of the policy");
    }
}
