// Converts one rule of each kind and prints the identifiers, or the status that the library gives. It is linked once;
// which label manager answers is decided when it is started.
#include <cstdio>

#include "support/ManagerAccess.h"

#ifdef __SANITIZE_ADDRESS__
// Also runs where there is no /proc, which the leak checker needs, and from which it would read its environment.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier): the sanitizer's name for it
    return "detect_leaks=0";
}
#endif

namespace {

PolicyNode rule(const char* permissionClass, const char* object) {
    PolicyNode node;
    node.bSubjectFlag = false;
    node.bObjectFlag = false;
    node.vecSubjectName = {"/usr/bin/a"};
    node.vecObjectName = {object};
    node.sPermClass = permissionClass;
    return node;
}

void print(const char* side, const std::vector<TARN_ID>& ids) {
    for (const TARN_ID& id : ids) {
        std::printf("%s %llu %llu %llu\n", side, static_cast<unsigned long long>(id.uiWord[0]),
                    static_cast<unsigned long long>(id.uiWord[1]), static_cast<unsigned long long>(id.uiWord[2]));
    }
}

}  // namespace

int main() {
    ManagerAccess manager;
    PolicyDb group{};
    group.vecPolicy = {rule("file", "/etc/b"), rule("kmod", "ext4"), rule("cdrom", "/dev/sda")};
    manager.m_mapPolicy["base"] = group;
    manager.setFileToGetLabelMap("subject_file", "/usr/bin/a");
    manager.setFileToGetLabelMap("object_file", "/etc/b");
    manager.addToDeviceVec("/dev/sda");
    manager.addToKmodVec("ext4");
    const int status = manager.parsePolicyData();
    if (status != 0) {
        std::printf("status %d\n", status);
        return 0;
    }
    for (const PolicyNode& node : manager.m_mapPolicy["base"].vecPolicy) {
        print("subject", node.vecSubjectId);
        print(node.sPermClass.c_str(), node.vecObjectId);
    }
    return 0;
}
