// The library's own way to writeLog: the caller's place is filled in, and the four levels have names.
#ifndef TARN_COMMON_LOG_H
#define TARN_COMMON_LOG_H

#include "Common/Common.h"

enum LogLevel : unsigned int { kLogError = 1, kLogNotice = 2, kLogDump = 3, kLogDetail = 4 };

// __FILE__ reads src/Common/... or src/libtarnpolicysync/... because the build maps the source folder away.
#define TARN_LOG(level, ...) writeLog(__FILE__, __LINE__, (level), __VA_ARGS__)

#endif
