// Delivery of a set into a plain file in the place of the kernel's entry, against a loop that reads each file and
// writes it there.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "Common/Handles.h"
#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bench.h"
#include "support/Floor.h"
#include "support/Rules.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMessageSize = 1000000;

void touch(const char* path) {
    const std::ofstream file(path);
    bench::require(file.good(), std::string("can't make ") + path);
}

void writeSet(std::size_t messages) {
    bench::emptyPolicyFolder();
    const std::vector<char> message(kMessageSize, 'm');
    for (std::size_t number = 0; number < messages; ++number) {
        bench::writeMessage(paths::inDirectory(paths::kPolicyDataTmp, "base_0_net_base_" + std::to_string(number)),
                            message.data(), message.size());
    }
    bench::require(compileKernelMsg(kernelmsg::kTypeBegin) == 0 && compileKernelMsg(kernelmsg::kTypeEnd) == 0,
                   "the frame of the set can't be written");
}

// What a delivery has renamed gets its temporary name again.
void undoDelivery() {
    if (fs::exists(paths::kPolicyData)) {
        fs::rename(paths::kPolicyData, paths::kPolicyDataTmp);
    }
    touch(paths::kSceneInfoTmp);
}

bench::Time timedDelivery(bench::Manager& manager) {
    undoDelivery();
    manager.fullCompiled = true;
    unsigned int status = 1;
    const bench::Time time = bench::timed([&] { status = manager.sendPolicy(); });
    bench::require(status == 0, "the delivery failed");
    undoDelivery();
    return time;
}

void copyToEntry(const std::string& path, std::vector<char>& buffer) {
    UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW));
    const ssize_t count = read(file.get(), buffer.data(), buffer.size());
    bench::require(count > 0, "can't read " + path);
    file.reset();
    bench::writeMessage(paths::kKernelDeliver, buffer.data(), static_cast<std::size_t>(count));
}

bench::Time timedLoop() {
    std::vector<char> buffer(kernelmsg::kMessageCapacity);
    return bench::timed([&] {
        for (const fs::directory_entry& entry : fs::directory_iterator(paths::kPolicyDataTmp)) {
            copyToEntry(entry.path(), buffer);
        }
    });
}

}  // namespace

int main(int count, char** arguments) {
    const bench::Options options = bench::start(count, arguments);
    bench::Manager manager;
    touch(paths::kKernelDeliver);
    writeSet(bench::sized(options, 1000));
    bench::Row row{"deliver", "1,000 messages of 1 MB", "read and write", 1, bench::Bound::kAtMost, 1.3};
    row.result = bench::compare(
        options, [&] { return timedDelivery(manager); }, [] { return timedLoop(); });
    bench::print(options, row);
    bench::emptyPolicyFolder();
    return 0;
}
