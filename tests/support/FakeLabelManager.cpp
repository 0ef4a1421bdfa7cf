#include "support/FakeLabelManager.h"

#include "libtarnlabelmgr/LabelManager.h"

namespace fakelabels {

Fake& fake() {
    static Fake instance;
    return instance;
}

}  // namespace fakelabels

using fakelabels::fake;

int policies_parse(const fakelabels::Request& request, fakelabels::Answer& answer) {
    fake().order.emplace_back("labels");
    fake().labelRequests.push_back(request);
    fake().labelRequestObjects.push_back(&request);
    fake().labelAnswersPassed.push_back(answer);
    return fake().labels ? fake().labels(request, answer) : 0;
}

int getDeviceOids(std::vector<std::string> devices, std::map<std::string, TARN_ID>& oids) {
    fake().order.emplace_back("devices");
    fake().deviceRequests.push_back(devices);
    fake().deviceOidsPassed.push_back(oids);
    return fake().devices ? fake().devices(devices, oids) : 0;
}

int getKernelModuleOids(std::vector<std::string> modules, std::map<std::string, TARN_ID>& oids) {
    fake().order.emplace_back("modules");
    fake().moduleRequests.push_back(modules);
    fake().moduleOidsPassed.push_back(oids);
    return fake().modules ? fake().modules(modules, oids) : 0;
}
