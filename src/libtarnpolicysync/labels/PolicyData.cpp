#include <algorithm>

#include "Common/Log.h"
#include "libtarnlabelmgr/LabelManager.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "libtarnpolicysync/labels/LabelAcquisition.h"

namespace {

// What the label manager answered. Look-ups insert what is missing, on purpose: an unknown name has no labels, and an
// unknown device or kernel module has one identifier of all zeros.
struct Identifiers {
    labels::Answer byName;
    labels::OidMap devices;
    labels::OidMap modules;
};

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
const char* subjectKind(const std::string& name) {
    if (!isPath(name)) {
        return "subject_pkg";
    }
    return isRecursivePath(name) ? "subject_recurfile" : "subject_file";
}

// Kind of an object of a class whose labels are fetched by name, or null for any other class.
const char* objectKind(const std::string& permClass, const std::string& name) {
    if (isPlaceholder(name)) {
        return "object_pkg";
    }
    if (permClass == "file") {
        if (!isPath(name)) {
            return "object_pkg";
        }
        return isRecursivePath(name) ? "object_recurfile" : "object_file";
    }
    if (permClass == "dir") {
        return isRecursivePath(name) ? "object_recurfile" : "object_dir";
    }
    if (permClass == "lnkfile") {
        return isRecursivePath(name) ? "object_recurfile" : "object_lnkfile";
    }
    return permClass == "process" ? subjectKind(name) : nullptr;
}

bool isDeviceType(const std::string& permClass) {
    return std::find(deviceTypeList.begin(), deviceTypeList.end(), permClass) != deviceTypeList.end();
}

void append(std::vector<TARN_ID>& ids, const std::vector<TARN_ID>& more) {
    ids.insert(ids.end(), more.begin(), more.end());
}

std::vector<TARN_ID> subjectIds(const PolicyNode& rule, Identifiers& identifiers) {
    std::vector<TARN_ID> ids;
    for (const std::string& name : rule.vecSubjectName) {
        append(ids, identifiers.byName[subjectKind(name)][name]);
    }
    return ids;
}

std::vector<TARN_ID> objectIds(const PolicyNode& rule, Identifiers& identifiers) {
    std::vector<TARN_ID> ids;
    for (const std::string& name : rule.vecObjectName) {
        if (const char* kind = objectKind(rule.sPermClass, name)) {
            append(ids, identifiers.byName[kind][name]);
        } else if (rule.sPermClass == "kmod") {
            ids.push_back(identifiers.modules[name]);
        } else if (isDeviceType(rule.sPermClass)) {
            ids.push_back(identifiers.devices[name]);
        }
    }
    return ids;
}

// A side whose flag is set came with its identifiers and is left as it is.
void convertRule(PolicyNode& rule, Identifiers& identifiers) {
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

    const std::lock_guard<std::mutex> lock(m_mutexPolicy);
    for (auto& [key, group] : m_mapPolicy) {
        for (PolicyNode& rule : group.vecPolicy) {
            convertRule(rule, identifiers);
        }
    }
    return 0;
}
