#include "libtarnpolicydoc/Labels.h"

#include <algorithm>

#include "libtarnlabelmgr/LabelManager.h"
#include "libtarnpolicydoc/Report.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

namespace policydoc {

namespace {

// The name of a side that stands for no concrete object.
constexpr char kNoName[] = "NULLL";

bool isRecursive(const std::string& name) {
    return name.size() >= 2 && name.compare(name.size() - 2, 2, "/*") == 0;
}

bool isPath(const std::string& name) {
    return !name.empty() && name.front() == '/';
}

std::vector<std::string> namesOf(const std::vector<DeclaredName>& entries) {
    std::vector<std::string> names;
    names.reserve(entries.size());
    for (const DeclaredName& entry : entries) {
        names.push_back(entry.name);
    }
    return names;
}

std::map<std::string, std::vector<std::string>> requestOf(const PolicyDocument& document) {
    std::map<std::string, std::vector<std::string>> request;
    for (const LabelledName& entry : document.labelledNames) {
        request[entry.kind].push_back(entry.name);
    }
    return request;
}

void appendLabels(const Labels& labels, const char* kind, const std::string& name, std::vector<TARN_ID>& out) {
    const auto names = labels.names.find(kind);
    if (names == labels.names.end()) {
        return;
    }
    const auto found = names->second.find(name);
    if (found != names->second.end()) {
        out.insert(out.end(), found->second.begin(), found->second.end());
    }
}

// A device or module that nobody knows gives one identifier of zeros, as in the library.
void appendOid(const std::map<std::string, TARN_ID>& oids, const std::string& name, std::vector<TARN_ID>& out) {
    const auto found = oids.find(name);
    out.push_back(found == oids.end() ? TARN_ID{} : found->second);
}

void restrictOids(const std::map<std::string, TARN_ID>& table, const std::vector<DeclaredName>& entries,
                  std::map<std::string, TARN_ID>& out) {
    for (const DeclaredName& entry : entries) {
        const auto found = table.find(entry.name);
        if (found != table.end()) {
            out.insert(*found);
        }
    }
}

bool refused(int status, const char* what, const PolicyDocument& document, Diagnostics& diagnostics) {
    if (status != 0) {
        const Reporter report(&diagnostics, document.files.front().name);
        report.mistake(
            Path(), 0,
            {"label-manager", std::string("the label manager gave no ") + what + ": status " + std::to_string(status),
             "status 0", "see the label manager's own message; its table of labels may be missing or unsound"});
    }
    return status != 0;
}

}  // namespace

const char* subjectKind(const std::string& name) {
    if (name == kNoName || !isPath(name)) {
        return "subject_pkg";
    }
    return isRecursive(name) ? "subject_recurfile" : "subject_file";
}

const char* objectKind(const std::string& permClass, const std::string& name) {
    if (name == kNoName) {
        return "object_pkg";
    }
    if (permClass == "process") {
        // A process is labelled like the subject it is.
        return subjectKind(name);
    }
    if (permClass == "file" && !isPath(name)) {
        return "object_pkg";
    }
    const bool isFile = permClass == "file";
    if (!isFile && permClass != "dir" && permClass != "lnkfile") {
        return nullptr;
    }
    if (isRecursive(name)) {
        return "object_recurfile";
    }
    return isFile ? "object_file" : permClass == "dir" ? "object_dir" : "object_lnkfile";
}

bool isDeviceClass(const std::string& permClass) {
    return std::find(deviceTypeList.begin(), deviceTypeList.end(), permClass) != deviceTypeList.end();
}

Labels restrictTo(const Labels& table, const PolicyDocument& document) {
    Labels out;
    for (const LabelledName& entry : document.labelledNames) {
        std::vector<TARN_ID> ids;
        appendLabels(table, entry.kind.c_str(), entry.name, ids);
        out.names[entry.kind][entry.name] = std::move(ids);
    }
    restrictOids(table.devices, document.devices, out.devices);
    restrictOids(table.modules, document.modules, out.modules);
    return out;
}

std::optional<Labels> askLabelManager(const PolicyDocument& document, Diagnostics& diagnostics) {
    Labels labels;
    if (refused(policies_parse(requestOf(document), labels.names), "labels", document, diagnostics)) {
        return std::nullopt;
    }
    if (!document.devices.empty() && refused(getDeviceOids(namesOf(document.devices), labels.devices),
                                             "device identifiers", document, diagnostics)) {
        return std::nullopt;
    }
    if (!document.modules.empty() && refused(getKernelModuleOids(namesOf(document.modules), labels.modules),
                                             "kernel-module identifiers", document, diagnostics)) {
        return std::nullopt;
    }
    return labels;
}

void resolve(PolicyNode& rule, const Labels& labels) {
    if (!rule.bSubjectFlag) {
        rule.vecSubjectId.clear();
        for (const std::string& name : rule.vecSubjectName) {
            appendLabels(labels, subjectKind(name), name, rule.vecSubjectId);
        }
    }
    if (rule.bObjectFlag) {
        return;
    }
    rule.vecObjectId.clear();
    for (const std::string& name : rule.vecObjectName) {
        if (const char* kind = objectKind(rule.sPermClass, name)) {
            appendLabels(labels, kind, name, rule.vecObjectId);
        } else if (rule.sPermClass == "kmod") {
            appendOid(labels.modules, name, rule.vecObjectId);
        } else if (isDeviceClass(rule.sPermClass)) {
            appendOid(labels.devices, name, rule.vecObjectId);
        }
    }
}

}  // namespace policydoc
