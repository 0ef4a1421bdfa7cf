#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "libtarnpolicysync/core/PipelineSteps.h"

using pipeline::report;

// The stages call forward into the folders that come later; here, and nowhere else but in the constructor.
unsigned int PolicyModuleManagerInterface::compileData() {
    constexpr char kStage[] = "compileData";
    if (const int status = pipeline::renewDirectory(paths::kPolicyDataTmp)) {
        return static_cast<unsigned int>(status);
    }
    printTime(kStage, "");
    if (const unsigned int status = report(compileKernelMsg(kernelmsg::kTypeBegin), "##ERROR: 策略头编译失败，res为%d",
                                           "##INFO: 策略头编译成功")) {
        return status;
    }
    printTime(kStage, "编译策略头");
    if (const unsigned int status = report(compileKernelNamespaceMsg(), "##ERROR: 策略命名空间编译失败，res为%d",
                                           "##INFO: 策略命名空间编译成功")) {
        return status;
    }
    printTime(kStage, "compileKernelNamespaceMsg");
    if (const unsigned int status =
            report(parsePolicyData(), "##ERROR: 策略数据获取失败，res为%d", "##INFO: 策略数据获取成功")) {
        return status;
    }
    printTime(kStage, "parsePolicyData");
    if (const unsigned int status =
            report(compileKernelPolicyMsg(), "##ERROR: 主策略编译失败，res为%d", "##INFO: 主策略编译成功")) {
        return status;
    }
    printTime(kStage, "compileFullPolicyMsg");
    if (const unsigned int status = report(compileKernelMsg(kernelmsg::kTypeEnd), "##ERROR: 策略结尾编译失败，res为%d",
                                           "##INFO: 策略结尾编译成功")) {
        return status;
    }
    if (const unsigned int status =
            report(processUserInfo(), "##ERROR: 用户信息存储失败，res为%d", "##INFO: 用户信息存储成功")) {
        return status;
    }
    fullCompiled = true;
    return 0;
}

unsigned int PolicyModuleManagerInterface::compileInitData() {
    const unsigned int status = compileData();
    return status != 0 ? status : static_cast<unsigned int>(finalizeTmpFile());
}
