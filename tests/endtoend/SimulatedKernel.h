// The simulator as a test of the whole way sees it: commands, transcript and the set in force.
#ifndef TARN_TESTS_SIMULATED_KERNEL_H
#define TARN_TESTS_SIMULATED_KERNEL_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/Model.h"

namespace simulated {

inline constexpr char kControl[] = "/sys/kernel/security/tarn/.sim/control";
inline constexpr char kTranscript[] = "/sys/kernel/security/tarn/.sim/transcript";
inline constexpr char kMessages[] = "/sys/kernel/security/tarn/.sim/messages";

// The simulator is up when its control node is there; the sandbox names what it found.
inline bool isThere() {
    const char* kernel = std::getenv("TARN_SANDBOX_KERNEL");
    return kernel != nullptr && std::string(kernel) == "fuse";
}

inline void tell(const std::string& command) {
    const int fd = open(kControl, O_WRONLY);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(write(fd, command.data(), command.size()), static_cast<ssize_t>(command.size())) << command;
    close(fd);
}

// The messages of the set in force, cut by the length in their headers.
inline std::vector<std::string> messagesInForce() {
    const std::string all = testfiles::read(kMessages);
    std::vector<std::string> result;
    for (std::size_t offset = 0; offset + 20 <= all.size();) {
        std::size_t length = 0;
        for (std::size_t byte = 4; byte-- > 0;) {
            length = length << 8U | static_cast<unsigned char>(all[offset + 4 + byte]);
        }
        result.push_back(all.substr(offset, length));
        offset += length < 20 ? all.size() : length;
    }
    return result;
}

// The records of the set in force, sorted. Empty where no whole set is.
inline std::vector<model::Bytes> recordsInForce() {
    const std::vector<std::string> messages = messagesInForce();
    std::map<std::string, std::string> policies;
    for (std::size_t index = 2; index + 1 < messages.size(); ++index) {
        policies[std::to_string(index)] = messages[index];
    }
    return model::recordsOf(policies);
}

}  // namespace simulated

#endif
