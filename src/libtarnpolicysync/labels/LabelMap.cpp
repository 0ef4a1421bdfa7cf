#include <algorithm>

#include "Common/Log.h"
#include "libtarnlabelmgr/LabelManager.h"
#include "libtarnpolicysync/core/ManagerPrivate.h"
#include "libtarnpolicysync/labels/LabelAcquisition.h"

namespace labels {

namespace {

void traceText(const std::string& text) {
    TARN_LOG(kLogDump, "###INFO: %s", text.c_str());
}

void traceWord(std::uint64_t word) {
    TARN_LOG(kLogDump, "###INFO: %llu", static_cast<unsigned long long>(word));
}

bool holdsAnyLabel(const Answer& answer) {
    return std::any_of(answer.begin(), answer.end(), [](const auto& kind) {
        return std::any_of(kind.second.begin(), kind.second.end(),
                           [](const auto& name) { return !name.second.empty(); });
    });
}

}  // namespace

void traceRequest(const Request& request) {
    TARN_LOG(kLogDump, "###INFO: m_mapFileToGetLabel信息打印");
    for (const auto& [kind, names] : request) {
        traceText(kind);
        std::for_each(names.begin(), names.end(), traceText);
    }
}

void traceAnswer(const Answer& answer) {
    TARN_LOG(kLogDump, "###INFO: map_FileToLabel信息打印");
    for (const auto& [kind, names] : answer) {
        traceText(kind);
        for (const auto& [name, ids] : names) {
            traceText(name);
            for (const TARN_ID& id : ids) {
                // The log has the words in this order: second, third, first.
                traceWord(id.uiWord[1]);
                traceWord(id.uiWord[2]);
                traceWord(id.uiWord[0]);
            }
        }
    }
}

int fetchLabels(std::mutex& mutex, const Request& request, Answer& answer) {
    const std::lock_guard<std::mutex> lock(mutex);
    const int result = policies_parse(request, answer);
    if (result != 0) {
        TARN_LOG(kLogError, "###ERROR: 标记获取接口调用失败, res为%d.", result);
    }
    return result;
}

int fetchOids(std::mutex& mutex, const std::vector<std::string>& names, OidCall call, OidMap& oids,
              const char* complaint) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (names.empty()) {
        return 0;
    }
    const int result = call(names, oids);
    if (result != 0) {
        TARN_LOG(kLogError, complaint, result);
    }
    return result;
}

}  // namespace labels

int PolicyModuleManagerInterface::setFileToGetLabelMap(std::string sMapKey, std::string sMapValue) {
    if (sMapKey.empty() || sMapValue.empty()) {
        TARN_LOG(kLogError, "###ERROR: in func %s, empty sMapKey or empty sMapValue.", "setFileToGetLabelMap");
        return 1;
    }
    const std::lock_guard<std::mutex> lock(m_mutexFileToGetLabel);
    m_private->fileToLabelIndexes[sMapKey].appendOnce(m_mapFileToGetLabel[sMapKey], std::move(sMapValue));
    return 0;
}

int PolicyModuleManagerInterface::verifyLabelResult(LabelAnswer& result) {
    constexpr char kEmptyAnswer[] = "####WARN: 标记获取接口返回值为空";
    if (result.empty()) {
        TARN_LOG(kLogError, kEmptyAnswer);  // reads as a warning, is logged as an error: nothing was answered at all
        return 0;
    }
    if (!labels::holdsAnyLabel(result)) {
        TARN_LOG(kLogNotice, kEmptyAnswer);
    }
    for (const auto& [kind, names] : m_mapFileToGetLabel) {
        for (const std::string& name : names) {
            const auto& answered = result[kind];  // looking a name up creates its kind, but never the name
            const auto found = answered.find(name);
            if (found == answered.end() || found->second.empty()) {
                TARN_LOG(kLogNotice, "####WARN: %s %s 未获取到标记", kind.c_str(), name.c_str());
            }
        }
    }
    return 0;
}
