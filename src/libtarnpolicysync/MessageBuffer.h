// The buffer in which a message of type 3 or 4 is built, with its cursor and count.
#ifndef TARN_MESSAGE_BUFFER_H
#define TARN_MESSAGE_BUFFER_H

#include <sys/mman.h>

#include <cstdint>
#include <cstring>
#include <new>

#include "Common/Common.h"
#include "libtarnpolicysync/KernelMessage.h"

// The first 20 bytes are left for the header, whose length and count are known last. Pages are there once they are
// written, so that a group of few records takes few of the megabyte; and nothing has to be cleared, since a message ends
// where it was written.
class MessageBuffer {
public:
    MessageBuffer() : start_(map()) {}
    MessageBuffer(const MessageBuffer&) = delete;
    MessageBuffer& operator=(const MessageBuffer&) = delete;
    ~MessageBuffer() { static_cast<void>(munmap(start_, kernelmsg::kMessageCapacity)); }

    // Begins a new message over the last one.
    void restart() {
        used = sizeof(kernelmsg::MessageHeader);
        cursor = start_ + used;
    }

    bool append(const void* source, unsigned long count) {
        return safeMemcpy(cursor, used, kernelmsg::kMessageCapacity, source, count);
    }

    // Takes what was written from the cursor up to `end`.
    void advance(char* end) {
        used += static_cast<unsigned long>(end - cursor);
        cursor = end;
    }

    void writeHeader(std::uint32_t recordSize, std::uint32_t recordCount, std::uint32_t type) {
        const kernelmsg::MessageHeader header{kernelmsg::kFormat, static_cast<std::uint32_t>(used), recordSize,
                                              recordCount, type};
        std::memcpy(start_, &header, sizeof header);
    }

    const char* bytes() const { return start_; }
    unsigned long remaining() const { return kernelmsg::kMessageCapacity - used; }

    char* cursor = nullptr;
    unsigned long used = 0;

private:
    static char* map() {
        void* memory =
            mmap(nullptr, kernelmsg::kMessageCapacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::bad_alloc();
        }
        return static_cast<char*>(memory);
    }

    char* start_;
};

#endif
