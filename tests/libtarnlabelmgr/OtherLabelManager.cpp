// Another label manager of the same soname, with answers that no table holds.
#include "libtarnlabelmgr/LabelManager.h"

namespace {

constexpr std::uint64_t kMark = 900000;

}  // namespace

int policies_parse(const std::map<std::string, std::vector<std::string>>& request,
                   std::map<std::string, std::map<std::string, std::vector<TARN_ID>>>& answer) {
    for (const auto& [kind, names] : request) {
        for (const std::string& name : names) {
            answer[kind][name] = {TARN_ID{{kMark, kind.size(), name.size()}}};
        }
    }
    return 0;
}

int getDeviceOids(std::vector<std::string> devices, std::map<std::string, TARN_ID>& oids) {
    for (const std::string& name : devices) {
        oids[name] = TARN_ID{{kMark, 1, name.size()}};
    }
    return 0;
}

int getKernelModuleOids(std::vector<std::string> modules, std::map<std::string, TARN_ID>& oids) {
    for (const std::string& name : modules) {
        oids[name] = TARN_ID{{kMark, 2, name.size()}};
    }
    return 0;
}
