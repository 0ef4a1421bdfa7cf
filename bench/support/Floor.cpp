#include "support/Floor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "Common/Handles.h"
#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bench.h"
#include "support/Rules.h"

namespace bench {

namespace {

constexpr std::size_t kHeaderSize = sizeof(kernelmsg::MessageHeader);
constexpr std::size_t kEndSize = sizeof kernelmsg::kEndNumber;
constexpr std::size_t kRecordsPerMessage = kernelmsg::kRecordsPerMessage;

std::string pathOf(const std::string& prefix, int index) {
    return paths::inDirectory(paths::kPolicyDataTmp, paths::policyFileName(prefix, "net", "base", index));
}

void writeShare(std::size_t records, const std::string& prefix) {
    std::vector<char> buffer(kernelmsg::kMessageCapacity);
    const std::vector<char> record(kPlainRecordSize, 'r');
    int index = 0;
    while (records > 0) {
        const std::size_t now = std::min(records, kRecordsPerMessage);
        char* cursor = buffer.data() + kHeaderSize;
        for (std::size_t one = 0; one < now; ++one) {
            std::memcpy(cursor, record.data(), kPlainRecordSize);
            cursor += kPlainRecordSize;
        }
        writeMessage(pathOf(prefix, index), buffer.data(), kHeaderSize + now * kPlainRecordSize + kEndSize);
        ++index;
        records -= now;
    }
}

}  // namespace

void writeMessage(const std::string& path, const char* bytes, std::size_t length) {
    const UniqueFd file(open(path.c_str(), static_cast<int>(paths::kWriteFlags), 0440));
    require(file.valid(), "can't open " + path);
    require(write(file.get(), bytes, length) == static_cast<ssize_t>(length), "can't write " + path);
    static_cast<void>(fsync(file.get()));
}

void writeFloor(std::size_t records, unsigned int threads) {
    std::vector<std::thread> writers;
    for (unsigned int index = 0; index < threads; ++index) {
        const std::size_t share = records / threads + (index < records % threads ? 1 : 0);
        writers.emplace_back(writeShare, share, paths::slicePrefix(paths::keyStem("base"), index));
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
}

void writeSmallFloor(std::size_t count) {
    const std::vector<char> message(kHeaderSize + kPlainRecordSize + kEndSize, 'r');
    for (std::size_t number = 0; number < count; ++number) {
        const std::string stem = paths::keyStem("key" + std::to_string(number));
        writeMessage(pathOf(paths::slicePrefix(stem, 0), 0), message.data(), message.size());
    }
}

}  // namespace bench
