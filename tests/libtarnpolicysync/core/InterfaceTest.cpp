// What hosts were built against: the names, signatures and the layout of the manager.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "support/ManagerAccess.h"

namespace {

using Manager = PolicyModuleManagerInterface;

// The members in the order and with the types that they have for every host.
struct Layout {
    std::map<std::string, PolicyDb> m_mapPolicy;
    std::mutex m_mutexPolicy;
    std::unordered_map<std::string, std::vector<std::string>> m_mapNamespaceFunc;
    std::mutex m_mutexNamespaceFunc;
    std::map<std::string, std::vector<std::string>> m_mapFileToGetLabel;
    std::mutex m_mutexFileToGetLabel;
    std::vector<std::string> deviceVec;
    std::mutex deviceVecMutex;
    std::vector<std::string> kmodVec;
    std::mutex kmodVecMutex;
    std::unordered_map<std::string, unsigned int> m_mapUserUid;
    std::mutex m_mutexUserUid;
    std::unordered_map<std::string, unsigned int> m_mapNameId;
    std::mutex m_mutexNameId;
    std::map<std::pair<std::string, std::string>, unsigned int> m_mapFuncId;
    std::mutex m_mutexFuncId;
    std::map<std::tuple<std::string, std::string>, unsigned int> dynamicVarMap;
    std::mutex dynamicVarMutex;
    Json::Value classDefRoot;
    std::uint16_t threadnum;
    bool fullCompiled;
    unsigned int printtime;
    std::unordered_map<std::string, std::int64_t> timeMap;
    std::mutex timeMutex;
    bool logflag;
    std::unique_ptr<int> m_private;
};

template <typename Object, typename Member>
std::ptrdiff_t offsetIn(const Object& object, const Member& member) {
    return reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&object);
}

TEST(Interface, TheMembersOfTheManagerStandInTheirOrderWithTheirTypes) {
    const ManagerAccess manager;
    const Layout layout{};
#define EXPECT_MEMBER(name)                                                               \
    static_assert(std::is_same_v<decltype(ManagerAccess::name), decltype(Layout::name)>); \
    EXPECT_EQ(offsetIn(manager, manager.name), offsetIn(layout, layout.name)) << #name
    EXPECT_MEMBER(m_mapPolicy);
    EXPECT_MEMBER(m_mutexPolicy);
    EXPECT_MEMBER(m_mapNamespaceFunc);
    EXPECT_MEMBER(m_mutexNamespaceFunc);
    EXPECT_MEMBER(m_mapFileToGetLabel);
    EXPECT_MEMBER(m_mutexFileToGetLabel);
    EXPECT_MEMBER(deviceVec);
    EXPECT_MEMBER(deviceVecMutex);
    EXPECT_MEMBER(kmodVec);
    EXPECT_MEMBER(kmodVecMutex);
    EXPECT_MEMBER(m_mapUserUid);
    EXPECT_MEMBER(m_mutexUserUid);
    EXPECT_MEMBER(m_mapNameId);
    EXPECT_MEMBER(m_mutexNameId);
    EXPECT_MEMBER(m_mapFuncId);
    EXPECT_MEMBER(m_mutexFuncId);
    EXPECT_MEMBER(dynamicVarMap);
    EXPECT_MEMBER(dynamicVarMutex);
    EXPECT_MEMBER(classDefRoot);
    EXPECT_MEMBER(threadnum);
    EXPECT_MEMBER(fullCompiled);
    EXPECT_MEMBER(printtime);
    EXPECT_MEMBER(timeMap);
    EXPECT_MEMBER(timeMutex);
    EXPECT_MEMBER(logflag);
#undef EXPECT_MEMBER
}

TEST(Interface, TheManagerHoldsOnePointerAfterItsMembersAndNothingMore) {
    static_assert(sizeof(Manager) == sizeof(Layout) && sizeof(ManagerAccess) == sizeof(Layout));
    static_assert(!std::is_polymorphic_v<Manager>);
}

TEST(Interface, TheManagerIsBuiltWithoutArgumentsAndNeverCopied) {
    static_assert(std::is_default_constructible_v<Manager> && std::is_destructible_v<Manager>);
    static_assert(!std::is_copy_constructible_v<Manager> && !std::is_copy_assignable_v<Manager>);
    static_assert(!std::is_move_constructible_v<Manager> && !std::is_move_assignable_v<Manager>);
}

TEST(Interface, TheOperationsOfTheHostHaveTheirSignatures) {
    using Text = std::string;
#define EXPECT_OPERATION(name, ...) \
    using name##Type = __VA_ARGS__; \
    static_assert(std::is_same_v<decltype(&Manager::name), name##Type Manager::*>)
    EXPECT_OPERATION(prepareWork, int());
    EXPECT_OPERATION(addPolicy, int(Text, PolicyDb&));
    EXPECT_OPERATION(clearAllPolicy, void());
    EXPECT_OPERATION(setNamespaceInfo, int(Text));
    EXPECT_OPERATION(setNamespaceFuncInfo, int(Text, Text, Text));
    EXPECT_OPERATION(initNamespaceFuncInfo, void());
    EXPECT_OPERATION(setUidInfo, int(Text, unsigned int));
    EXPECT_OPERATION(setFileToGetLabelMap, int(Text, Text));
    EXPECT_OPERATION(addToDeviceVec, int(Text));
    EXPECT_OPERATION(addToKmodVec, int(Text));
    EXPECT_OPERATION(getParentClass, int(Text, Text&));
    EXPECT_OPERATION(getCapOid, int(Text, TARN_ID&));
    EXPECT_OPERATION(compileData, unsigned int());
    EXPECT_OPERATION(compileInitData, unsigned int());
    EXPECT_OPERATION(sendSinglePolicy, unsigned int(const Text&));
    EXPECT_OPERATION(sendSinglePolicyWithFullPath, unsigned int(const Text&));
    EXPECT_OPERATION(sendPolicy, unsigned int());
    EXPECT_OPERATION(finalizeTmpFile, int());
    EXPECT_OPERATION(modifyDynamicVariable, int(Text, Text, unsigned int, bool));
    EXPECT_OPERATION(sendDynamicInfo, int(Text));
    EXPECT_OPERATION(clearDynamicVariableInfo, int());
#undef EXPECT_OPERATION
}

TEST(Interface, TheFreeFunctionsOfThePublicHeaderHaveTheirSignatures) {
    using Nodes = std::vector<PolicyNode>;
    static_assert(std::is_same_v<decltype(&isOperator), bool (*)(unsigned int)>);
    static_assert(std::is_same_v<decltype(&postToPreFix), int (*)(std::vector<ExprNode>, std::vector<ExprNode>&)>);
    static_assert(std::is_same_v<decltype(&compileKernelMsg), unsigned int (*)(unsigned int)>);
    static_assert(std::is_same_v<decltype(&splitVector), int (*)(const Nodes&, int, std::vector<Nodes>&)>);
    static_assert(std::is_same_v<decltype(deviceTypeList), const std::vector<std::string>>);
    static_assert(std::is_same_v<decltype(capabilityList), const std::vector<std::string>>);
}

TEST(Interface, TheStagesHaveTheirSignatures) {
    using Text = std::string;
#define EXPECT_STAGE(name, ...)     \
    using name##Type = __VA_ARGS__; \
    static_assert(std::is_same_v<decltype(&ManagerAccess::name), name##Type Manager::*>)
    EXPECT_STAGE(initConfigInfo, void());
    EXPECT_STAGE(importPermData, int());
    EXPECT_STAGE(transPerm, int(Text, Text, int&, int&));
    EXPECT_STAGE(getPolicyType, unsigned int(TARN_ID));
    EXPECT_STAGE(printTime, void(Text, Text));
    EXPECT_STAGE(importNameInfo, void());
    EXPECT_STAGE(getNameId, int(Text, int&));
    EXPECT_STAGE(getFuncId, int(Text, Text, Text, int&));
    EXPECT_STAGE(compileKernelNamespaceMsg, int());
    EXPECT_STAGE(verifyLabelResult, int(std::map<Text, std::map<Text, std::vector<TARN_ID>>>&));
    EXPECT_STAGE(parsePolicyData, int());
    EXPECT_STAGE(processUserInfo, int());
    EXPECT_STAGE(compileKernelPolicyMsg, int());
#undef EXPECT_STAGE
}

// Names that a host can reach. Each template says yes when the expression compiles outside the class.
template <typename T, typename = void>
struct ReachesTables : std::false_type {};
template <typename T>
struct ReachesTables<T, std::void_t<decltype(std::declval<T&>().m_mapPolicy)>> : std::true_type {};
template <typename T, typename = void>
struct ReachesStages : std::false_type {};
template <typename T>
struct ReachesStages<T, std::void_t<decltype(std::declval<T&>().parsePolicyData())>> : std::true_type {};
template <typename T, typename = void>
struct ReachesPublicCalls : std::false_type {};
template <typename T>
struct ReachesPublicCalls<T, std::void_t<decltype(std::declval<T&>().compileData())>> : std::true_type {};

TEST(Interface, StagesAndTablesAreClosedToHosts) {
    static_assert(ReachesPublicCalls<Manager>::value);
    static_assert(!ReachesTables<Manager>::value && !ReachesStages<Manager>::value);
    static_assert(ReachesTables<ManagerAccess>::value && ReachesStages<ManagerAccess>::value);
}

}  // namespace
