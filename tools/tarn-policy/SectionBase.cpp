#include "SectionBase.h"

#include <sys/stat.h>

#include <map>

#include "Common/Common.h"
#include "CompiledSet.h"
#include "CutOffRenames.h"
#include "Failure.h"
#include "Files.h"
#include "SectionFiles.h"
#include "Verification.h"
#include "libtarnmessage/RecordSize.h"
#include "libtarnmessage/SetReader.h"
#include "libtarnnames/SideFiles.h"
#include "libtarnpolicydoc/Check.h"
#include "libtarnpolicysync/Paths.h"

namespace {

// Namespace to its functions "module:function" in order: the place, from 1, is the number.
using Functions = std::map<std::string, std::vector<std::string>>;
using Numbers = std::map<std::string, std::uint32_t>;

// Numbers that can't be read would be taken for none, and every namespace would seem to keep its own.
Numbers pinnedNumbers(const std::string& sceneInfo) {
    policydoc::Diagnostics diagnostics;
    Numbers numbers = policydoc::readPinnedNumbers(sceneInfo, diagnostics);
    if (!diagnostics.all().empty()) {
        throw Failure(ExitCode::kFailed, "read " + sceneInfo, diagnostics.all().front().message,
                      "see what stands at that path");
    }
    return numbers;
}

void dropRepetitions(Functions& table) {
    for (auto& [name, functions] : table) {
        tarnnames::dropRepetitions(functions);
    }
}

// By the rules of initNamespaceFuncInfo. A missing file holds none.
Functions functionsOf(const std::string& path) {
    Functions table;
    std::vector<std::string> lines;
    if (fileExists(path) && readFileToVec(path, lines) == 0) {
        for (const std::string& line : lines) {
            const std::vector<std::string> fields = Split(line, '#');
            if (fields.size() != 2) {
                continue;
            }
            for (const std::string& function : Split(fields[1], ',')) {
                table[fields[0]].push_back(function);
            }
        }
    }
    dropRepetitions(table);
    return table;
}

// What the base's namespace message told the kernel.
class Announced : public tarnmessage::MessageVisitor {
public:
    void onNamespace(const tarnmessage::NamespaceView& block) override {
        const std::string name(block.name);
        numbers[name] = block.node.nameId;
        tarnmessage::FunctionCursor cursor = block.functions();
        for (tarnmessage::FunctionView function; cursor.next(function);) {
            functions[name].emplace_back(function.name);
        }
    }

    Numbers numbers;
    Functions functions;
};

// The tables as they will stand when the section is compiled.
class Coming {
public:
    explicit Coming(const policydoc::PolicyDocument& document)
        : functions_(functionsOf(paths::kFuncInfo)), pinned_(pinnedNumbers(paths::kSceneInfo)) {
        for (const policydoc::NamespaceEntry& entry : document.namespaces) {
            for (const policydoc::FunctionEntry& function : entry.functions) {
                functions_[entry.name].push_back(function.module + ":" + function.function);
            }
        }
        dropRepetitions(functions_);
        for (const auto& [name, functions] : functions_) {
            std::map<std::string, std::size_t>& numbers = numbers_[name];
            for (const std::string& function : functions) {
                numbers.emplace(function, numbers.size() + 1);
            }
        }
    }

    std::uint32_t nameNumber(const std::string& nameSpace) const {
        const auto pinned = pinned_.find(nameSpace);
        return pinned == pinned_.end() ? stringToId(nameSpace.c_str()) : pinned->second;
    }

    // From 1; 0 for a function that will not be announced.
    std::size_t functionNumber(const std::string& nameSpace, const std::string& function) const {
        const auto known = numbers_.find(nameSpace);
        if (known == numbers_.end()) {
            return 0;
        }
        const auto number = known->second.find(function);
        return number == known->second.end() ? 0 : number->second;
    }

    std::uint64_t messageBytes() const {
        std::uint64_t bytes = tarnmessage::kMessageFrameSize;
        for (const auto& [name, functions] : functions_) {
            bytes += tarnmessage::encodedNamespaceSize(name, functions);
        }
        return bytes;
    }

private:
    Functions functions_;
    std::map<std::string, std::map<std::string, std::size_t>> numbers_;  // of the functions, from 1
    Numbers pinned_;
};

class Findings {
public:
    explicit Findings(Report& report) : report_(report) {
        report_.fact("sectionProblems") = Json::Value(Json::arrayValue);
    }

    void add(const char* code, const std::string& text) {
        Json::Value& entry = report_.fact("sectionProblems").append(Json::Value(Json::objectValue));
        entry["code"] = code;
        entry["text"] = text;
        report_.words("  " + text + " [" + code + "]");
        first_ = first_.empty() ? text : first_;
        ++count_;
    }

    void requireNone(const SectionBase& base) const {
        if (count_ == 0) {
            return;
        }
        throw Failure(
            ExitCode::kMistakes, "compile the section by itself",
            first_ + (count_ == 1 ? "" : " (and " + std::to_string(count_ - 1) + " more)") +
                "\n  now: nothing was written",
            std::string(base.waiting ? "deliver the set that waits with tarn-policy send and run this again, or "
                                     : "") +
                "compile and deliver the whole policy with tarn-policy apply");
    }

private:
    Report& report_;
    std::string first_;
    std::size_t count_ = 0;
};

void compareNumbers(const Numbers& known, const std::string& source, const Coming& coming, Findings& findings) {
    for (const auto& [name, number] : known) {
        if (coming.nameNumber(name) != number) {
            findings.add("moved-number", "namespace " + name + " has the number " + std::to_string(number) + " in " +
                                             source + " and would get " + std::to_string(coming.nameNumber(name)) +
                                             ": messages of other sections carry the old one");
        }
    }
}

void compareFunctions(const Functions& known, const std::string& source, const Coming& coming, Findings& findings) {
    for (const auto& [name, functions] : known) {
        for (std::size_t index = 0; index < functions.size(); ++index) {
            const std::size_t number = coming.functionNumber(name, functions[index]);
            if (number != index + 1) {
                const std::string now =
                    number == 0 ? "would no longer be announced" : "would get " + std::to_string(number);
                findings.add("moved-number", "function " + functions[index] + " of namespace " + name +
                                                 " has the number " + std::to_string(index + 1) + " in " + source +
                                                 " and " + now +
                                                 ": rules of other sections would call another function");
            }
        }
    }
}

void findMovedNumbers(const Preparation& prepared, const SectionBase& base, Findings& findings) {
    const Coming coming(prepared.document);
    const std::string message = paths::inDirectory(base.directory, paths::kNamespaceName);
    Announced announced;
    std::string bytes;
    if (tarnmessage::readMessageFile(message, bytes) == 0) {
        static_cast<void>(tarnmessage::parseMessage(bytes, {}, announced));  // known to be there and sound
    }
    compareNumbers(announced.numbers, message, coming, findings);
    compareFunctions(announced.functions, message, coming, findings);
    // The side files say the same of a set as its message. Where they don't, nobody knows what the next start will read.
    Numbers pinned = pinnedNumbers(base.sceneInfo);
    Functions listed = functionsOf(base.funcInfo);
    for (const auto& [name, number] : announced.numbers) {
        if (const auto same = pinned.find(name); same != pinned.end() && same->second == number) {
            pinned.erase(same);
        }
        if (const auto same = listed.find(name); same != listed.end() && same->second == announced.functions[name]) {
            listed.erase(same);
        }
    }
    compareNumbers(pinned, base.sceneInfo, coming, findings);
    compareFunctions(listed, base.funcInfo, coming, findings);
    if (coming.messageBytes() > kernelmsg::kMessageCapacity) {
        findings.add("namespace-size", "the namespace message, with the functions in use, would take " +
                                           std::to_string(coming.messageBytes()) + " bytes of at most " +
                                           std::to_string(kernelmsg::kMessageCapacity));
    }
}

// A folder can't be replaced by a file: the merge would stop there, with the section's old files gone.
void findOccupiedNames(const Preparation& prepared, const SectionBase& base, Findings& findings) {
    for (const policydoc::PlannedFile& file : prepared.plan.files) {
        const std::string path = paths::inDirectory(base.directory, file.name);
        struct stat status {};
        if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
            findings.add("occupied-name", path + " is in the place of a new message and is no regular file");
        }
    }
}

// Begin, namespace and end message: what the library reuses, and what a failed compilation leaves out.
void requireFrame(const SectionBase& base, const std::string& advice, Report& report) {
    std::string missing;
    for (const char* name : {paths::kBeginName, paths::kNamespaceName, paths::kEndName}) {
        if (!fileExists(paths::inDirectory(base.directory, name))) {
            const std::string text = std::string(name) + ": the message is missing";
            report.fact("setProblems").append(text);
            missing += (missing.empty() ? "" : ", ") + text;
        }
    }
    if (!missing.empty()) {
        throw Failure(ExitCode::kUnsoundSet, "use the set " + base.directory, missing, advice);
    }
}

// Here the waiting set may be the only whole one: nobody is told to remove it.
void requireWholeRenames(const SectionBase& base) {
    if (renamesWereCutOff()) {
        throw Failure(
            ExitCode::kUnsoundSet, "use the set " + base.directory,
            std::string(paths::kSceneInfoTmp) +
                " is missing: the renames at the end of an earlier delivery were cut off, and the finished set " +
                paths::kPolicyData + " may be gone in part",
            "compile and deliver the whole policy with tarn-policy apply");
    }
}

// The library copies the finished set before it writes any side file, and skips what it can't copy.
void requireSideFile(const SectionBase& base, const std::string& advice) {
    if (base.waiting && !fileExists(base.sceneInfo)) {
        throw Failure(ExitCode::kUnsoundSet, "use the set " + base.directory,
                      base.sceneInfo + " is missing, which belongs to the set: it may be a copy of a part of " +
                          paths::kPolicyData,
                      advice);
    }
}

std::string sectionText(const policydoc::MessageGroup& section) {
    return "namespace \"" + section.nameSpace + "\", group \"" + section.group + "\"";
}

}  // namespace

SectionBase requireSectionBase(Report& report) {
    SectionBase base{true, paths::kPolicyDataTmp, paths::kSceneInfoTmp, paths::kFuncInfoTmp};
    std::string advice = std::string("compile and deliver the whole policy with tarn-policy apply, or remove ") +
                         paths::kPolicyDataTmp + ", so that the section is put into the finished set";
    if (!setExists()) {
        base = {false, paths::kPolicyData, paths::kSceneInfo, paths::kFuncInfo};
        advice = "compile and deliver the whole policy with tarn-policy apply";
        if (!fileExists(base.directory)) {
            throw Failure(ExitCode::kNothingToSend, "put the section into a compiled set",
                          std::string("there is neither ") + paths::kPolicyDataTmp + " nor " + paths::kPolicyData,
                          advice);
        }
    }
    report.fact("base") = base.directory;
    if (!isFolder(base.directory)) {
        throw Failure(ExitCode::kUnsoundSet, "use the set " + base.directory, "it is no folder", advice);
    }
    requireWholeRenames(base);
    requireFrame(base, advice, report);
    requireSideFile(base, advice);
    const CheckedSet checked{base.directory, advice};
    requireSoundSet(report, checked);
    requireWholeSet(report, checked);
    if (base.waiting) {
        requireFinishedCompilation(advice);
    }
    return base;
}

std::vector<std::string> requireHarmlessSection(const Preparation& prepared, const SectionBase& base, Report& report) {
    Findings findings(report);
    const SectionFiles files = sectionFiles(prepared, base.directory, pinnedNumbers(base.sceneInfo));
    for (const std::string& name : files.strangers) {
        findings.add("strange-file", name + " holds the section's tag " + files.tag +
                                         " in its name and is not of the section: it would be removed");
    }
    findMovedNumbers(prepared, base, findings);
    findOccupiedNames(prepared, base, findings);
    findings.requireNone(base);
    if (files.own.empty() && prepared.plan.rules.empty()) {
        throw Failure(ExitCode::kUsage, "compile " + sectionText(*prepared.section),
                      "neither the policy has a rule of it nor " + base.directory + " a message",
                      "give namespace and group as in the rules of the policy");
    }
    if (prepared.plan.rules.empty()) {
        report.warning("the policy has no rule of " + sectionText(*prepared.section) +
                       ": its messages are taken out of the set");
    }
    return files.own;
}

void registerBase(PolicyModuleManagerInterface& manager, const SectionBase& base) {
    manager.initNamespaceFuncInfo();
    for (const auto& [name, number] : pinnedNumbers(base.sceneInfo)) {
        static_cast<void>(manager.setNamespaceInfo(name));  // never empty
    }
}
