// The buffer in which a message of type 3 or 4 is built, with its cursor and count.
#ifndef TARN_MESSAGE_BUFFER_H
#define TARN_MESSAGE_BUFFER_H

#include <cstdint>
#include <cstring>
#include <memory>

#include "Common/Common.h"
#include "libtarnpolicysync/KernelMessage.h"

// The first 20 bytes are left for the header, whose length and count are known last.
struct MessageBuffer {
    MessageBuffer() : bytes(new char[kernelmsg::kMessageCapacity]), cursor(bytes.get()) {}

    // Begins a new message in the same memory, zeroed.
    void restart() {
        std::memset(bytes.get(), 0, kernelmsg::kMessageCapacity);
        used = sizeof(kernelmsg::MessageHeader);
        cursor = bytes.get() + used;
    }

    bool append(const void* source, unsigned long count) {
        return safeMemcpy(cursor, used, kernelmsg::kMessageCapacity, source, count);
    }

    void writeHeader(std::uint32_t recordSize, std::uint32_t recordCount, std::uint32_t type) {
        const kernelmsg::MessageHeader header{kernelmsg::kFormat, static_cast<std::uint32_t>(used), recordSize,
                                              recordCount, type};
        std::memcpy(bytes.get(), &header, sizeof header);
    }

    std::unique_ptr<char[]> bytes;
    char* cursor;
    unsigned long used = 0;
};

#endif
