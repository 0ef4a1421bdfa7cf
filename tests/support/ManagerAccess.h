// Opens the manager's stages and tables to the tests. A host can't do this: it includes the same header and derives
// nothing.
#ifndef TARN_TESTS_MANAGER_ACCESS_H
#define TARN_TESTS_MANAGER_ACCESS_H

#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

class ManagerAccess : public PolicyModuleManagerInterface {
public:
    using PolicyModuleManagerInterface::DynamicVariables;
    using PolicyModuleManagerInterface::LabelAnswer;
    using PolicyModuleManagerInterface::OidMap;

    using PolicyModuleManagerInterface::compileKernelNamespaceMsg;
    using PolicyModuleManagerInterface::compileKernelPolicyMsg;
    using PolicyModuleManagerInterface::compileKernelPolicyThread;
    using PolicyModuleManagerInterface::compileSectionPolicyMsg;
    using PolicyModuleManagerInterface::getFuncId;
    using PolicyModuleManagerInterface::getNameId;
    using PolicyModuleManagerInterface::getPolicyType;
    using PolicyModuleManagerInterface::importDynamicVariableInfo;
    using PolicyModuleManagerInterface::importNameInfo;
    using PolicyModuleManagerInterface::importPermData;
    using PolicyModuleManagerInterface::initConfigInfo;
    using PolicyModuleManagerInterface::initDynamicVariableInfo;
    using PolicyModuleManagerInterface::makeSingleDoFuncPolicy;
    using PolicyModuleManagerInterface::makeSingleExprPolicy;
    using PolicyModuleManagerInterface::makeSinglePolicy;
    using PolicyModuleManagerInterface::parsePolicyData;
    using PolicyModuleManagerInterface::printTime;
    using PolicyModuleManagerInterface::processUserInfo;
    using PolicyModuleManagerInterface::sendSinglePolicyInternal;
    using PolicyModuleManagerInterface::transPerm;
    using PolicyModuleManagerInterface::verifyLabelResult;

    using PolicyModuleManagerInterface::classDefRoot;
    using PolicyModuleManagerInterface::deviceVec;
    using PolicyModuleManagerInterface::dynamicVarMap;
    using PolicyModuleManagerInterface::fullCompiled;
    using PolicyModuleManagerInterface::kmodVec;
    using PolicyModuleManagerInterface::logflag;
    using PolicyModuleManagerInterface::m_mapFileToGetLabel;
    using PolicyModuleManagerInterface::m_mapFuncId;
    using PolicyModuleManagerInterface::m_mapNameId;
    using PolicyModuleManagerInterface::m_mapNamespaceFunc;
    using PolicyModuleManagerInterface::m_mapPolicy;
    using PolicyModuleManagerInterface::m_mapUserUid;
    using PolicyModuleManagerInterface::printtime;
    using PolicyModuleManagerInterface::threadnum;
    using PolicyModuleManagerInterface::timeMap;

    using PolicyModuleManagerInterface::deviceVecMutex;
    using PolicyModuleManagerInterface::dynamicVarMutex;
    using PolicyModuleManagerInterface::kmodVecMutex;
    using PolicyModuleManagerInterface::m_mutexFileToGetLabel;
    using PolicyModuleManagerInterface::m_mutexFuncId;
    using PolicyModuleManagerInterface::m_mutexNameId;
    using PolicyModuleManagerInterface::m_mutexNamespaceFunc;
    using PolicyModuleManagerInterface::m_mutexPolicy;
    using PolicyModuleManagerInterface::m_mutexUserUid;
    using PolicyModuleManagerInterface::timeMutex;
};

#endif
