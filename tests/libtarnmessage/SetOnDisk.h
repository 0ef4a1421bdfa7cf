// A set of golden messages on disk, for the tests that read sets.
#ifndef TARN_TESTS_SET_ON_DISK_H
#define TARN_TESTS_SET_ON_DISK_H

#include <string>

#include "support/Files.h"
#include "support/Golden.h"

namespace setondisk {

inline constexpr char kSet[] = "/etc/tarn/set";

inline std::string at(const std::string& name) {
    return std::string(kSet) + "/" + name;
}

inline void writeMessage(const std::string& file, const std::string& name) {
    testfiles::write(at(file), golden::message(name));
}

inline void writeWholeSet() {
    writeMessage("beginmsg", "begin");
    writeMessage("namemsg", "namespace");
    writeMessage("base_1_net_g_0", "policy-pairs");
    writeMessage("base_0_net_g_0", "policy-condition");
    writeMessage("endmsg", "end");
}

}  // namespace setondisk

#endif
