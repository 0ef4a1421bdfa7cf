// The steps and words that the full compilation and the compilation of a section share.
#ifndef TARN_CORE_PIPELINE_STEPS_H
#define TARN_CORE_PIPELINE_STEPS_H

#include "Common/Log.h"

namespace pipeline {

// Removes a working directory and makes it anew. Logs what it did; returns the failing status.
inline int renewDirectory(const char* path) {
    if (SafeDirectoryExists(path)) {
        const int result = removeDirectory(path);
        if (result != 0) {
            TARN_LOG(kLogError, "##ERROR: 删除临时目录%s失败", path);
            return result;
        }
    }
    TARN_LOG(kLogDetail, "##INFO: 临时目录%s不存在或已删除", path);
    const int result = createDirectory(path);
    if (result != 0) {
        TARN_LOG(kLogError, "##ERROR: 临时目录%s创建失败", path);
        return result;
    }
    TARN_LOG(kLogDetail, "##INFO: 临时目录%s创建成功", path);
    return 0;
}

// Logs a stage's outcome in its own words; gives its status back.
inline unsigned int report(unsigned int status, const char* failure, const char* success) {
    if (status != 0) {
        TARN_LOG(kLogError, failure, static_cast<int>(status));
    } else {
        TARN_LOG(kLogDetail, success);
    }
    return status;
}

inline unsigned int report(int status, const char* failure, const char* success) {
    return report(static_cast<unsigned int>(status), failure, success);
}

}  // namespace pipeline

#endif
