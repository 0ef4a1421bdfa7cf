#include <algorithm>
#include <array>

#include "Common/Log.h"
#include "libtarnlabelmgr/LabelManager.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "libtarnpolicysync/labels/LabelAcquisition.h"
#include "libtarnpolicysync/labels/LabelIndex.h"

namespace {

// The kinds under which names are looked up, as the label manager knows them.
enum class Kind {
    kSubjectPkg,
    kSubjectFile,
    kSubjectRecurfile,
    kObjectPkg,
    kObjectFile,
    kObjectRecurfile,
    kObjectDir,
    kObjectLnkfile,
    kNone
};
constexpr std::array<const char*, static_cast<std::size_t>(Kind::kNone)> kKindWords{
    "subject_pkg", "subject_file",     "subject_recurfile", "object_pkg",
    "object_file", "object_recurfile", "object_dir",        "object_lnkfile"};

// What the label manager answered. A name that it does not know has no labels; an unknown device or kernel module has
// one identifier of all zeros.
class Identifiers {
public:
    labels::Answer byName;
    labels::OidMap devices;
    labels::OidMap modules;

    // Call when byName is complete.
    void indexNames() {
        for (std::size_t kind = 0; kind < kKindWords.size(); ++kind) {
            const auto answered = byName.find(kKindWords[kind]);
            if (answered != byName.end()) {
                index_[kind] = LabelIndex(answered->second);
            }
        }
    }

    void appendLabels(std::vector<TARN_ID>& ids, Kind kind, const std::string& name) const {
        index_[static_cast<std::size_t>(kind)].append(name, ids);
    }

private:
    std::array<LabelIndex, kKindWords.size()> index_;
};

TARN_ID oidOf(const labels::OidMap& oids, const std::string& name) {
    const auto found = oids.find(name);
    return found != oids.end() ? found->second : TARN_ID{};
}

bool isPath(const std::string& name) {
    return !name.empty() && name.front() == '/';
}

bool isRecursivePath(const std::string& name) {
    return name.size() >= 2 && name.compare(name.size() - 2, 2, "/*") == 0;
}

// The name that stands for a side without a concrete subject or object.
bool isPlaceholder(const std::string& name) {
    return name == "NULLL";
}

// Kind of a subject; also of an object of class "process", which is labelled like a subject.
Kind subjectKind(const std::string& name) {
    if (!isPath(name)) {
        return Kind::kSubjectPkg;
    }
    return isRecursivePath(name) ? Kind::kSubjectRecurfile : Kind::kSubjectFile;
}

// Kind of an object of a class whose labels are fetched by name, or none for any other class.
Kind objectKind(const std::string& permClass, const std::string& name) {
    if (isPlaceholder(name)) {
        return Kind::kObjectPkg;
    }
    if (permClass == "file") {
        if (!isPath(name)) {
            return Kind::kObjectPkg;
        }
        return isRecursivePath(name) ? Kind::kObjectRecurfile : Kind::kObjectFile;
    }
    if (permClass == "dir") {
        return isRecursivePath(name) ? Kind::kObjectRecurfile : Kind::kObjectDir;
    }
    if (permClass == "lnkfile") {
        return isRecursivePath(name) ? Kind::kObjectRecurfile : Kind::kObjectLnkfile;
    }
    return permClass == "process" ? subjectKind(name) : Kind::kNone;
}

bool isDeviceType(const std::string& permClass) {
    return std::find(deviceTypeList.begin(), deviceTypeList.end(), permClass) != deviceTypeList.end();
}

std::vector<TARN_ID> subjectIds(const PolicyNode& rule, const Identifiers& identifiers) {
    std::vector<TARN_ID> ids;
    for (const std::string& name : rule.vecSubjectName) {
        identifiers.appendLabels(ids, subjectKind(name), name);
    }
    return ids;
}

std::vector<TARN_ID> objectIds(const PolicyNode& rule, const Identifiers& identifiers) {
    std::vector<TARN_ID> ids;
    for (const std::string& name : rule.vecObjectName) {
        if (const Kind kind = objectKind(rule.sPermClass, name); kind != Kind::kNone) {
            identifiers.appendLabels(ids, kind, name);
        } else if (rule.sPermClass == "kmod") {
            ids.push_back(oidOf(identifiers.modules, name));
        } else if (isDeviceType(rule.sPermClass)) {
            ids.push_back(oidOf(identifiers.devices, name));
        }
    }
    return ids;
}

// A side whose flag is set came with its identifiers and is left as it is.
void convertRule(PolicyNode& rule, const Identifiers& identifiers) {
    if (!rule.bSubjectFlag) {
        rule.vecSubjectId = subjectIds(rule, identifiers);
    }
    if (!rule.bObjectFlag) {
        rule.vecObjectId = objectIds(rule, identifiers);
    }
}

}  // namespace

int PolicyModuleManagerInterface::parsePolicyData() {
    Identifiers identifiers;
    if (logflag) {
        labels::traceRequest(m_mapFileToGetLabel);
    }
    int result = labels::fetchLabels(m_mutexFileToGetLabel, m_mapFileToGetLabel, identifiers.byName);
    if (result != 0) {
        return result;
    }
    static_cast<void>(verifyLabelResult(identifiers.byName));  // only warns: such rules find no identifiers
    if (logflag) {
        labels::traceAnswer(identifiers.byName);
    }
    result = labels::fetchOids(deviceVecMutex, deviceVec, getDeviceOids, identifiers.devices,
                               "###ERROR: 获取设备id失败, res为%d.");
    if (result == 0) {
        result = labels::fetchOids(kmodVecMutex, kmodVec, getKernelModuleOids, identifiers.modules,
                                   "###ERROR: 获取内核模块id失败, res为%d.");
    }
    if (result != 0) {
        return result;
    }
    TARN_LOG(kLogDetail, "###INFO: 标记获取完成");

    identifiers.indexNames();
    const std::lock_guard<std::mutex> lock(m_mutexPolicy);
    for (auto& [key, group] : m_mapPolicy) {
        for (PolicyNode& rule : group.vecPolicy) {
            convertRule(rule, identifiers);
        }
    }
    return 0;
}
