#include "securec.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

bool badCapacity(size_t destMax) {
    return destMax == 0 || destMax > SECUREC_MEM_MAX_LEN;
}

bool overlap(const void* dest, const void* src, size_t count) {
    const auto d = reinterpret_cast<std::uintptr_t>(dest);
    const auto s = reinterpret_cast<std::uintptr_t>(src);
    return d != s && (d < s ? s - d : d - s) < count;
}

}  // namespace

errno_t memcpy_s(void* dest, size_t destMax, const void* src, size_t count) {
    if (badCapacity(destMax)) {
        return ERANGE;
    }
    if (dest == nullptr) {
        return EINVAL;
    }
    if (src == nullptr) {
        std::memset(dest, 0, destMax);
        return EINVAL_AND_RESET;
    }
    if (count > destMax) {
        std::memset(dest, 0, destMax);
        return ERANGE_AND_RESET;
    }
    if (overlap(dest, src, count)) {
        std::memset(dest, 0, count);
        return EOVERLAP_AND_RESET;
    }
    if (count != 0 && dest != src) {
        std::memcpy(dest, src, count);
    }
    return EOK;
}

errno_t memset_s(void* dest, size_t destMax, int c, size_t count) {
    if (badCapacity(destMax)) {
        return ERANGE;
    }
    if (dest == nullptr) {
        return EINVAL;
    }
    if (count > destMax) {
        std::memset(dest, c, destMax);
        return ERANGE_AND_RESET;
    }
    std::memset(dest, c, count);
    return EOK;
}

int vsnprintf_s(char* dest, size_t destMax, size_t count, const char* format, va_list arguments) {
    if (dest == nullptr || badCapacity(destMax)) {
        return -1;
    }
    if (format == nullptr || (count > SECUREC_MEM_MAX_LEN && count != static_cast<size_t>(-1))) {
        dest[0] = '\0';
        return -1;
    }
    const bool cutAtCount = count < destMax;
    const size_t room = cutAtCount ? count + 1 : destMax;
    const int length = std::vsnprintf(dest, room, format, arguments);
    if (length < 0) {
        dest[0] = '\0';
        return -1;
    }
    if (static_cast<size_t>(length) < room) {
        return length;
    }
    if (!cutAtCount) {
        dest[0] = '\0';
    }
    return -1;
}
