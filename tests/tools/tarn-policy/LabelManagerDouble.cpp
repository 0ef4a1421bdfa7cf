// A label manager that misbehaves as TARN_TEST_LABELS says; loaded before the substitute.
#include <csignal>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>

#include "libtarnlabelmgr/LabelManager.h"

namespace {

std::string behaviour() {
    const char* value = std::getenv("TARN_TEST_LABELS");
    return value == nullptr ? "" : value;
}

}  // namespace

int policies_parse(const std::map<std::string, std::vector<std::string>>& request,
                   std::map<std::string, std::map<std::string, std::vector<TARN_ID>>>& answer) {
    static int calls = 0;
    ++calls;
    if (behaviour() == "throw") {
        throw std::runtime_error("the label manager fell over");
    }
    if (behaviour() == "throw-number") {
        throw 42;
    }
    if (behaviour() == "no-memory") {
        throw std::bad_alloc();
    }
    if (behaviour() == "status") {
        return 7;
    }
    if (behaviour() == "status-second-time" && calls > 1) {
        return 7;
    }
    if (behaviour() == "forget-and-die" && calls > 2) {
        static_cast<void>(raise(SIGKILL));
    }
    std::uint64_t word = 1;
    for (const auto& [kind, names] : request) {
        for (const std::string& name : names) {
            const bool forgotten = behaviour().rfind("forget", 0) == 0 && calls > 1 && name == "/srv/y";
            if (!forgotten) {
                answer[kind][name] = {TARN_ID{{word, word, word}}};
            }
            ++word;
        }
    }
    return 0;
}

int getDeviceOids(std::vector<std::string> devices, std::map<std::string, TARN_ID>& oids) {
    for (const std::string& device : devices) {
        oids[device] = TARN_ID{{1, 1, 1}};
    }
    return 0;
}

int getKernelModuleOids(std::vector<std::string> modules, std::map<std::string, TARN_ID>& oids) {
    for (const std::string& module : modules) {
        oids[module] = TARN_ID{{2, 2, 2}};
    }
    return 0;
}
