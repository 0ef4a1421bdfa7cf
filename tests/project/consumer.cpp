// A host outside the tree: reaches every free function, every public and protected operation and both word lists, so
// that a name that is declared and not exported fails to link.
#include <Common.h>
#include <KernelAnswers.h>
#include <PolicyModuleManagerInterface.h>

#include <cstdio>
#include <fstream>
#include <iterator>

namespace {

class Access : public PolicyModuleManagerInterface {
public:
    // As many addresses as there are operations; the count keeps the compiler from leaving them out.
    static int operations() {
        return count(&Access::prepareWork, &Access::addPolicy, &Access::clearAllPolicy, &Access::setNamespaceInfo,
                     &Access::setNamespaceFuncInfo, &Access::initNamespaceFuncInfo, &Access::setUidInfo,
                     &Access::setFileToGetLabelMap, &Access::addToDeviceVec, &Access::addToKmodVec,
                     &Access::getParentClass, &Access::getCapOid, &Access::compileData, &Access::compileInitData,
                     &Access::sendSinglePolicy, &Access::sendSinglePolicyWithFullPath, &Access::sendPolicy,
                     &Access::finalizeTmpFile, &Access::modifyDynamicVariable, &Access::sendDynamicInfo,
                     &Access::clearDynamicVariableInfo, &Access::initConfigInfo, &Access::importPermData,
                     &Access::transPerm, &Access::getPolicyType, &Access::printTime, &Access::importNameInfo,
                     &Access::getNameId, &Access::getFuncId, &Access::compileKernelNamespaceMsg,
                     &Access::verifyLabelResult, &Access::parsePolicyData, &Access::processUserInfo,
                     &Access::makeSinglePolicy, &Access::makeSingleExprPolicy, &Access::makeSingleDoFuncPolicy,
                     &Access::compileKernelPolicyMsg, &Access::compileKernelPolicyThread,
                     &Access::sendSinglePolicyInternal, &Access::initDynamicVariableInfo,
                     &Access::importDynamicVariableInfo, &Access::compileSectionPolicy, &Access::mergeSectionPolicy,
                     &Access::sendInitPolicy, &Access::compileSectionPolicyMsg);
    }

    template <typename... Function>
    static int count(Function... function) {
        return (0 + ... + (function != nullptr ? 1 : 0));
    }
};

int freeFunctions() {
    return Access::count(&writeLog, &setLogLevel, &enableDebugLog, &GetSystime, &getTimeStamp, &printBytes, &pathExist,
                         &HasPathEscape, &IsSafeAbsolutePath, &SafeDirectoryExists, &SafeMountPrefixConcat,
                         &validate_mount_point, &removeDirectory, &createDirectory, &renameFile, &renameDir, &copyFile,
                         &copyDirectory, &writeFileData, &readFileToVecImpl, &readFileToVec, &Split, &crc32,
                         &string_length, &stringToId, &safeMemcpy, &isOperator, &postToPreFix, &compileKernelMsg,
                         &splitVector);
}

bool logHolds(const char* text) {
    std::ifstream log("/var/log/tarn-policy.log");
    const std::string content{std::istreambuf_iterator<char>(log), {}};
    return content.find(text) != std::string::npos;
}

int check(const char* what, bool holds) {
    if (!holds) {
        std::fprintf(stderr, "consumer: %s\n", what);
    }
    return holds ? 0 : 1;
}

}  // namespace

int main() {
    PolicyModuleManagerInterface manager;
    writeLog(__FILE__, __LINE__, 1, "a line of the %s", "consumer", 1);
    TARN_ID capability{};
    PolicyDb group;
    int failures = 0;
    failures += check("operations", Access::operations() == 45);
    failures += check("free functions", freeFunctions() == 30);
    failures += check("word lists", deviceTypeList.size() == 30 && capabilityList.size() == 38);
    failures += check("log", logHolds("] [LEVEL:1] a line of the consumer\n"));
    failures += check("capability", manager.getCapOid("cap_sys_admin", capability) == 0 && capability.uiWord[0] == 21);
    failures += check("group", manager.addPolicy("base", group) == 0);
    failures += check("missing definitions", manager.prepareWork() == 1);
    failures += check("kernel answers", findKernelAnswer(71) != nullptr && findKernelAnswer(1) == nullptr);
    return failures == 0 ? 0 : 1;
}
