// What hosts were built against: the names, signatures and the layout of the manager.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <regex>
#include <set>
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

// The tables, their mutexes and the settings, which are closed to hosts.
#define TARN_TABLES(ENTRY)       \
    ENTRY(m_mapPolicy)           \
    ENTRY(m_mutexPolicy)         \
    ENTRY(m_mapNamespaceFunc)    \
    ENTRY(m_mutexNamespaceFunc)  \
    ENTRY(m_mapFileToGetLabel)   \
    ENTRY(m_mutexFileToGetLabel) \
    ENTRY(deviceVec)             \
    ENTRY(deviceVecMutex)        \
    ENTRY(kmodVec)               \
    ENTRY(kmodVecMutex)          \
    ENTRY(m_mapUserUid)          \
    ENTRY(m_mutexUserUid)        \
    ENTRY(m_mapNameId)           \
    ENTRY(m_mutexNameId)         \
    ENTRY(m_mapFuncId)           \
    ENTRY(m_mutexFuncId)         \
    ENTRY(dynamicVarMap)         \
    ENTRY(dynamicVarMutex)       \
    ENTRY(classDefRoot)          \
    ENTRY(threadnum)             \
    ENTRY(fullCompiled)          \
    ENTRY(printtime)             \
    ENTRY(timeMap)               \
    ENTRY(timeMutex)             \
    ENTRY(logflag)

template <typename Object, typename Member>
std::ptrdiff_t offsetIn(const Object& object, const Member& member) {
    return reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&object);
}

TEST(Interface, TheMembersOfTheManagerStandInTheirOrderWithTheirTypes) {
    const ManagerAccess manager;
    const Layout layout{};
#define EXPECT_MEMBER(name)                                                               \
    static_assert(std::is_same_v<decltype(ManagerAccess::name), decltype(Layout::name)>); \
    EXPECT_EQ(offsetIn(manager, manager.name), offsetIn(layout, layout.name)) << #name;
    TARN_TABLES(EXPECT_MEMBER)
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

using Text = std::string;
using Nodes = std::vector<PolicyNode>;

// Everything that a host may call: name and type.
#define TARN_HOST_OPERATIONS(ENTRY)                                   \
    ENTRY(prepareWork, int())                                         \
    ENTRY(addPolicy, int(Text, PolicyDb&))                            \
    ENTRY(clearAllPolicy, void())                                     \
    ENTRY(setNamespaceInfo, int(Text))                                \
    ENTRY(setNamespaceFuncInfo, int(Text, Text, Text))                \
    ENTRY(initNamespaceFuncInfo, void())                              \
    ENTRY(setUidInfo, int(Text, unsigned int))                        \
    ENTRY(setFileToGetLabelMap, int(Text, Text))                      \
    ENTRY(addToDeviceVec, int(Text))                                  \
    ENTRY(addToKmodVec, int(Text))                                    \
    ENTRY(getParentClass, int(Text, Text&))                           \
    ENTRY(getCapOid, int(Text, TARN_ID&))                             \
    ENTRY(compileData, unsigned int())                                \
    ENTRY(compileInitData, unsigned int())                            \
    ENTRY(compileSectionPolicy, unsigned int(Text, Text))             \
    ENTRY(mergeSectionPolicy, int(Text, Text))                        \
    ENTRY(sendSinglePolicy, unsigned int(const Text&))                \
    ENTRY(sendSinglePolicyWithFullPath, unsigned int(const Text&))    \
    ENTRY(sendPolicy, unsigned int())                                 \
    ENTRY(sendInitPolicy, unsigned int(Text))                         \
    ENTRY(finalizeTmpFile, int())                                     \
    ENTRY(modifyDynamicVariable, int(Text, Text, unsigned int, bool)) \
    ENTRY(sendDynamicInfo, int(Text))                                 \
    ENTRY(clearDynamicVariableInfo, int())

// The stages, which are closed to hosts.
#define TARN_STAGES(ENTRY)                                                                      \
    ENTRY(initConfigInfo, void())                                                               \
    ENTRY(importPermData, int())                                                                \
    ENTRY(transPerm, int(Text, Text, int&, int&))                                               \
    ENTRY(getPolicyType, unsigned int(TARN_ID))                                                 \
    ENTRY(printTime, void(Text, Text))                                                          \
    ENTRY(importNameInfo, void())                                                               \
    ENTRY(getNameId, int(Text, int&))                                                           \
    ENTRY(getFuncId, int(Text, Text, Text, int&))                                               \
    ENTRY(compileKernelNamespaceMsg, int())                                                     \
    ENTRY(verifyLabelResult, int(std::map<Text, std::map<Text, std::vector<TARN_ID>>>&))        \
    ENTRY(parsePolicyData, int())                                                               \
    ENTRY(processUserInfo, int())                                                               \
    ENTRY(makeSinglePolicy, unsigned int(PolicyNode, TARN_ID, TARN_ID, char*&, unsigned long&)) \
    ENTRY(makeSingleExprPolicy, unsigned int(PolicyNode, ExprNode, char*&, unsigned long&))     \
    ENTRY(makeSingleDoFuncPolicy, unsigned int(PolicyNode, DoFuncNode, char*&, unsigned long&)) \
    ENTRY(compileKernelPolicyMsg, int())                                                        \
    ENTRY(compileSectionPolicyMsg, int(Text, Text))                                             \
    ENTRY(compileKernelPolicyThread, int(Text, Nodes, Text, std::vector<int>&, std::mutex&))    \
    ENTRY(sendSinglePolicyInternal, unsigned int(const Text&, bool))                            \
    ENTRY(initDynamicVariableInfo, int())                                                       \
    ENTRY(importDynamicVariableInfo, int(Text, std::map<std::tuple<Text, Text>, unsigned int>&, bool))

TEST(Interface, TheOperationsOfTheHostHaveTheirSignatures) {
#define EXPECT_OPERATION(name, ...) \
    using name##Type = __VA_ARGS__; \
    static_assert(std::is_same_v<decltype(&Manager::name), name##Type Manager::*>);
    TARN_HOST_OPERATIONS(EXPECT_OPERATION)
#undef EXPECT_OPERATION
}

TEST(Interface, TheFreeFunctionsOfThePublicHeaderHaveTheirSignatures) {
    static_assert(std::is_same_v<decltype(&isOperator), bool (*)(unsigned int)>);
    static_assert(std::is_same_v<decltype(&postToPreFix), int (*)(std::vector<ExprNode>, std::vector<ExprNode>&)>);
    static_assert(std::is_same_v<decltype(&compileKernelMsg), unsigned int (*)(unsigned int)>);
    static_assert(std::is_same_v<decltype(&splitVector), int (*)(const Nodes&, int, std::vector<Nodes>&)>);
    static_assert(std::is_same_v<decltype(deviceTypeList), const std::vector<std::string>>);
    static_assert(std::is_same_v<decltype(capabilityList), const std::vector<std::string>>);
}

TEST(Interface, TheStagesHaveTheirSignatures) {
#define EXPECT_STAGE(name, ...)     \
    using name##Type = __VA_ARGS__; \
    static_assert(std::is_same_v<decltype(&ManagerAccess::name), name##Type Manager::*>);
    TARN_STAGES(EXPECT_STAGE)
#undef EXPECT_STAGE
}

// Reaches_<member>: whether the name of a member can be used outside the class.
#define DEFINE_REACHES(name)                    \
    template <typename T, typename = void>      \
    struct Reaches_##name : std::false_type {}; \
    template <typename T>                       \
    struct Reaches_##name<T, std::void_t<decltype(&T::name)>> : std::true_type {};
#define DEFINE_REACHES_CALL(name, ...) DEFINE_REACHES(name)
TARN_HOST_OPERATIONS(DEFINE_REACHES_CALL)
TARN_STAGES(DEFINE_REACHES_CALL)
TARN_TABLES(DEFINE_REACHES)
#undef DEFINE_REACHES_CALL
#undef DEFINE_REACHES

TEST(Interface, EveryOperationIsOpenToHosts) {
#define EXPECT_OPEN(name, ...) EXPECT_TRUE(Reaches_##name<Manager>::value) << #name;
    TARN_HOST_OPERATIONS(EXPECT_OPEN)
#undef EXPECT_OPEN
}

TEST(Interface, EveryStageAndTableIsClosedToHostsAndOpenToTheirDerivedClass) {
#define EXPECT_CLOSED(name)                                \
    EXPECT_FALSE(Reaches_##name<Manager>::value) << #name; \
    EXPECT_TRUE(Reaches_##name<ManagerAccess>::value) << #name;
#define EXPECT_CLOSED_CALL(name, ...) EXPECT_CLOSED(name)
    TARN_STAGES(EXPECT_CLOSED_CALL)
    TARN_TABLES(EXPECT_CLOSED)
#undef EXPECT_CLOSED_CALL
#undef EXPECT_CLOSED
}

TEST(Interface, TheListsHoldEveryMemberFunctionOfTheLibrary) {
#define NAME(name, ...) #name,
    const std::set<std::string> listed{TARN_HOST_OPERATIONS(NAME) TARN_STAGES(NAME) "PolicyModuleManagerInterface",
                                       "~PolicyModuleManagerInterface"};
#undef NAME
    std::set<std::string> exported;
    std::ifstream symbols(TARN_SOURCE_DIR "/tests/project/exported-symbols.txt");
    const std::regex member(R"(^PolicyModuleManagerInterface::(~?\w+)\(.*$)");
    for (std::string line; std::getline(symbols, line);) {
        std::smatch match;
        if (std::regex_match(line, match, member)) {
            exported.insert(match[1]);
        }
    }
    EXPECT_EQ(exported, listed);
}

}  // namespace
