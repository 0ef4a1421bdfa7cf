#include <securec.h>

#include <cstring>

#include "Common/Common.h"

std::uint32_t crc32(const unsigned char* data, unsigned long length) {
    constexpr std::uint32_t kPolynomial = 0xEDB88320;
    std::uint32_t crc = 0xFFFFFFFF;
    for (unsigned long i = 0; i < length; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1) ^ kPolynomial : crc >> 1;
        }
    }
    return crc ^ 0xFFFFFFFF;
}

unsigned long string_length(const char* text) {
    return std::strlen(text);
}

std::uint32_t stringToId(const char* name) {
    return crc32(reinterpret_cast<const unsigned char*>(name), string_length(name));
}

bool safeMemcpy(char*& cursor, unsigned long& used, unsigned long capacity, const void* source, unsigned long count) {
    if (cursor == nullptr) {
        return false;
    }
    if (capacity < used || capacity - used < count) {
        return false;
    }
    if (count == 0) {
        return true;
    }
    if (source == nullptr) {
        return false;
    }
    if (memcpy_s(cursor, capacity - used, source, count) != 0) {
        return false;
    }
    cursor += count;
    used += count;
    return true;
}
