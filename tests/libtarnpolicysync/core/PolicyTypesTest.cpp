#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "libtarnpolicysync/PolicyTypes.h"
#include "support/ManagerAccess.h"
#include "support/MutexTrace.h"

namespace {

constexpr std::uint64_t kAllOnes = 0xFFFFFFFFFFFFFFFF;

// The records as the host was built with them: same fields, same order, nothing else.
struct FuncParamLayout {
    std::int64_t iData;
    std::string strData;
    unsigned int uiParamType;
};
struct ExprNodeLayout {
    unsigned int uiExprType;
    std::string strFuncName;
    unsigned int uiValue;
    std::string strVarName;
    std::vector<FuncParam> vecParam;
};
struct DoFuncNodeLayout {
    std::string strFuncName;
    std::vector<FuncParam> vecParam;
};
struct PolicyNodeLayout {
    unsigned int uiAttrA;
    unsigned int uiAttrB;
    bool bSubjectFlag;
    std::vector<TARN_ID> vecSubjectId;
    std::vector<std::string> vecSubjectName;
    bool bObjectFlag;
    std::vector<TARN_ID> vecObjectId;
    std::vector<std::string> vecObjectName;
    std::string sPermClass;
    std::string sPerm;
    std::vector<ExprNode> vecExpr;
    std::vector<DoFuncNode> vecDoFunc;
    unsigned int uiExt[5];
    std::string strNamespace;
    std::string strGroup;
    std::string strModuleName;
};
struct PolicyDbLayout {
    unsigned int words[3];
    std::vector<PolicyNode> rules;
};

// Distance of a member from the start of its object.
template <typename Object, typename Member>
std::ptrdiff_t offsetIn(const Object& object, const Member& member) {
    return reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&object);
}

#define EXPECT_SAME_PLACE(Record, field)                                                         \
    do {                                                                                         \
        const Record record{};                                                                   \
        const Record##Layout layout{};                                                           \
        EXPECT_EQ(offsetIn(record, record.field), offsetIn(layout, layout.field));               \
        static_assert(std::is_same_v<decltype(Record::field), decltype(Record##Layout::field)>); \
    } while (false)

template <typename Record>
constexpr bool isPlainValue = !std::is_polymorphic_v<Record> && std::is_copy_constructible_v<Record> &&
                              std::is_copy_assignable_v<Record> && std::is_default_constructible_v<Record>;

TEST(PolicyTypes, AnIdentifierIsThreeWordsOf24Bytes) {
    static_assert(sizeof(TARN_ID) == 24);
    static_assert(std::is_trivially_copyable_v<TARN_ID> && std::is_standard_layout_v<TARN_ID>);
    const TARN_ID id{{1, 2, 0x0807060504030201}};
    unsigned char bytes[24];
    std::memcpy(bytes, &id, sizeof(bytes));
    EXPECT_THAT(bytes, testing::ElementsAre(1, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8));
}

TEST(PolicyTypes, TheRecordsArePlainValuesWithoutVirtualFunctions) {
    static_assert(isPlainValue<FuncParam> && isPlainValue<ExprNode> && isPlainValue<DoFuncNode>);
    static_assert(isPlainValue<PolicyNode> && isPlainValue<PolicyDb>);
    // An aggregate has no base class with data and no constructor of its own.
    static_assert(std::is_aggregate_v<FuncParam> && std::is_aggregate_v<DoFuncNode> && std::is_aggregate_v<PolicyNode>);
}

TEST(PolicyTypes, FuncParamHasItsFieldsInOrderAndNoMore) {
    static_assert(sizeof(FuncParam) == sizeof(FuncParamLayout));
    EXPECT_SAME_PLACE(FuncParam, iData);
    EXPECT_SAME_PLACE(FuncParam, strData);
    EXPECT_SAME_PLACE(FuncParam, uiParamType);
}

TEST(PolicyTypes, ExprNodeHasItsFieldsInOrderAndNoMore) {
    static_assert(sizeof(ExprNode) == sizeof(ExprNodeLayout));
    EXPECT_SAME_PLACE(ExprNode, uiExprType);
    EXPECT_SAME_PLACE(ExprNode, strFuncName);
    EXPECT_SAME_PLACE(ExprNode, uiValue);
    EXPECT_SAME_PLACE(ExprNode, strVarName);
    EXPECT_SAME_PLACE(ExprNode, vecParam);
}

TEST(PolicyTypes, DoFuncNodeHasItsFieldsInOrderAndNoMore) {
    static_assert(sizeof(DoFuncNode) == sizeof(DoFuncNodeLayout));
    EXPECT_SAME_PLACE(DoFuncNode, strFuncName);
    EXPECT_SAME_PLACE(DoFuncNode, vecParam);
}

TEST(PolicyTypes, PolicyNodeHasItsFieldsInOrderAndNoMore) {
    static_assert(sizeof(PolicyNode) == sizeof(PolicyNodeLayout));
    EXPECT_SAME_PLACE(PolicyNode, uiAttrA);
    EXPECT_SAME_PLACE(PolicyNode, uiAttrB);
    EXPECT_SAME_PLACE(PolicyNode, bSubjectFlag);
    EXPECT_SAME_PLACE(PolicyNode, vecSubjectId);
    EXPECT_SAME_PLACE(PolicyNode, vecSubjectName);
    EXPECT_SAME_PLACE(PolicyNode, bObjectFlag);
    EXPECT_SAME_PLACE(PolicyNode, vecObjectId);
    EXPECT_SAME_PLACE(PolicyNode, vecObjectName);
    EXPECT_SAME_PLACE(PolicyNode, sPermClass);
    EXPECT_SAME_PLACE(PolicyNode, sPerm);
    EXPECT_SAME_PLACE(PolicyNode, vecExpr);
    EXPECT_SAME_PLACE(PolicyNode, vecDoFunc);
    EXPECT_SAME_PLACE(PolicyNode, uiExt);
    EXPECT_SAME_PLACE(PolicyNode, strNamespace);
    EXPECT_SAME_PLACE(PolicyNode, strGroup);
    EXPECT_SAME_PLACE(PolicyNode, strModuleName);
}

TEST(PolicyTypes, PolicyDbIsThreeWordsFollowedByTheRules) {
    static_assert(sizeof(PolicyDb) == sizeof(PolicyDbLayout));
    const PolicyDb db;
    const PolicyDbLayout layout{};
    EXPECT_EQ(offsetIn(db, db.uiFirst), 0);
    EXPECT_EQ(offsetIn(db, db.uiSecond), 4);
    EXPECT_EQ(offsetIn(db, db.uiThird), 8);
    EXPECT_EQ(offsetIn(db, db.vecPolicy), offsetIn(layout, layout.rules));
    static_assert(std::is_same_v<decltype(PolicyDb::uiFirst), unsigned int>);
    static_assert(std::is_same_v<decltype(PolicyDb::vecPolicy), std::vector<PolicyNode>>);
}

TEST(PolicyTypes, ADefaultFuncParamIsZeroAndEmpty) {
    const FuncParam param;
    EXPECT_EQ(param.iData, 0);
    EXPECT_EQ(param.strData, "");
    EXPECT_EQ(param.uiParamType, 0U);
}

TEST(PolicyTypes, ADefaultExprNodeIsZeroAndEmpty) {
    const ExprNode node;
    EXPECT_EQ(node.uiExprType, 0U);
    EXPECT_EQ(node.strFuncName, "");
    EXPECT_EQ(node.uiValue, 0U);
    EXPECT_EQ(node.strVarName, "");
    EXPECT_TRUE(node.vecParam.empty());
}

TEST(PolicyTypes, ExprNodeTakesTypeFunctionNameAndValue) {
    const ExprNode node(4, "check", 7);
    EXPECT_EQ(node.uiExprType, 4U);
    EXPECT_EQ(node.strFuncName, "check");
    EXPECT_EQ(node.uiValue, 7U);
    EXPECT_EQ(node.strVarName, "");
    EXPECT_TRUE(node.vecParam.empty());
}

TEST(PolicyTypes, ACopiedExprNodeSharesNothing) {
    ExprNode node(12, "f", 3);
    node.strVarName = "v";
    node.vecParam.push_back({5, "text", 3});
    const ExprNode copy(node);
    node.strFuncName[0] = 'x';
    node.strVarName[0] = 'x';
    node.vecParam[0].strData[0] = 'x';
    node.vecParam[0].iData = 6;
    EXPECT_EQ(copy.uiExprType, 12U);
    EXPECT_EQ(copy.strFuncName, "f");
    EXPECT_EQ(copy.uiValue, 3U);
    EXPECT_EQ(copy.strVarName, "v");
    ASSERT_EQ(copy.vecParam.size(), 1U);
    EXPECT_EQ(copy.vecParam[0].iData, 5);
    EXPECT_EQ(copy.vecParam[0].strData, "text");
    EXPECT_EQ(copy.vecParam[0].uiParamType, 3U);
}

TEST(PolicyTypes, ADefaultDoFuncNodeIsEmpty) {
    const DoFuncNode node;
    EXPECT_EQ(node.strFuncName, "");
    EXPECT_TRUE(node.vecParam.empty());
}

TEST(PolicyTypes, ADefaultPolicyNodeHasBothFlagsTrueAndAllElseEmpty) {
    const PolicyNode node;
    EXPECT_EQ(node.uiAttrA, 0U);
    EXPECT_EQ(node.uiAttrB, 0U);
    EXPECT_TRUE(node.bSubjectFlag);
    EXPECT_TRUE(node.vecSubjectId.empty());
    EXPECT_TRUE(node.vecSubjectName.empty());
    EXPECT_TRUE(node.bObjectFlag);
    EXPECT_TRUE(node.vecObjectId.empty());
    EXPECT_TRUE(node.vecObjectName.empty());
    EXPECT_EQ(node.sPermClass, "");
    EXPECT_EQ(node.sPerm, "");
    EXPECT_TRUE(node.vecExpr.empty());
    EXPECT_TRUE(node.vecDoFunc.empty());
    EXPECT_THAT(node.uiExt, testing::Each(0U));
    EXPECT_EQ(node.strNamespace, "");
    EXPECT_EQ(node.strGroup, "");
    EXPECT_EQ(node.strModuleName, "");
}

TEST(PolicyTypes, ACopiedPolicyNodeSharesNothing) {
    PolicyNode node;
    node.vecSubjectId = {{{1, 2, 3}}};
    node.vecSubjectName = {"a"};
    node.vecObjectId = {{{4, 5, 6}}};
    node.vecObjectName = {"b"};
    node.sPermClass = "file";
    node.vecExpr = {ExprNode(11, "", 1)};
    node.vecDoFunc = {{"act", {{1, "", 2}}}};
    node.uiExt[4] = 9;
    const PolicyNode copy = node;
    node.vecSubjectId[0].uiWord[0] = 0;
    node.vecSubjectName[0][0] = 'x';
    node.vecObjectId.clear();
    node.vecObjectName[0][0] = 'x';
    node.sPermClass[0] = 'x';
    node.vecExpr[0].uiValue = 0;
    node.vecDoFunc[0].vecParam[0].iData = 0;
    node.uiExt[4] = 0;
    EXPECT_EQ(copy.vecSubjectId.at(0).uiWord[0], 1U);
    EXPECT_EQ(copy.vecSubjectName.at(0), "a");
    EXPECT_EQ(copy.vecObjectId.at(0).uiWord[2], 6U);
    EXPECT_EQ(copy.vecObjectName.at(0), "b");
    EXPECT_EQ(copy.sPermClass, "file");
    EXPECT_EQ(copy.vecExpr.at(0).uiValue, 1U);
    EXPECT_EQ(copy.vecDoFunc.at(0).vecParam.at(0).iData, 1);
    EXPECT_EQ(copy.uiExt[4], 9U);
}

TEST(PolicyTypes, ANewGroupHasZeroWordsAndNoRules) {
    const PolicyDb db;
    EXPECT_EQ(db.uiFirst, 0U);
    EXPECT_EQ(db.uiSecond, 0U);
    EXPECT_EQ(db.uiThird, 0U);
    EXPECT_TRUE(db.vecPolicy.empty());
}

TEST(PolicyTypes, ClearZeroesTheWordsAndDestroysTheRulesButKeepsTheStorage) {
    PolicyDb db;
    db.uiFirst = 1;
    db.uiSecond = 2;
    db.uiThird = 3;
    db.vecPolicy.resize(17);
    const std::size_t capacity = db.vecPolicy.capacity();
    db.clear();
    EXPECT_EQ(db.uiFirst, 0U);
    EXPECT_EQ(db.uiSecond, 0U);
    EXPECT_EQ(db.uiThird, 0U);
    EXPECT_TRUE(db.vecPolicy.empty());
    EXPECT_EQ(db.vecPolicy.capacity(), capacity);
}

TEST(PolicyTypes, TheOperatorsAreCodes1To3And5To10) {
    std::vector<unsigned int> operators;
    for (unsigned int code = 0; code < 1000; ++code) {
        if (isOperator(code)) {
            operators.push_back(code);
        }
    }
    EXPECT_THAT(operators, testing::ElementsAre(1, 2, 3, 5, 6, 7, 8, 9, 10));
    EXPECT_FALSE(isOperator(0xFFFFFFFF));
    EXPECT_FALSE(isOperator(0x80000001));
    EXPECT_FALSE(isOperator(0x100 + 1));
}

TEST(PolicyTypes, AnIdentifierWithAllOnesInItsFirstWordIsOfPolicyType2) {
    ManagerAccess manager;
    EXPECT_EQ(manager.getPolicyType(TARN_ID{{kAllOnes, 0, 0}}), 2U);
    EXPECT_EQ(manager.getPolicyType(TARN_ID{{kAllOnes, kAllOnes, kAllOnes}}), 2U);
}

TEST(PolicyTypes, AnyOtherIdentifierIsOfPolicyType1) {
    ManagerAccess manager;
    EXPECT_EQ(manager.getPolicyType(TARN_ID{{kAllOnes - 1, 0, 0}}), 1U);
    EXPECT_EQ(manager.getPolicyType(TARN_ID{{0, kAllOnes, kAllOnes}}), 1U);
    EXPECT_EQ(manager.getPolicyType(TARN_ID{{0, 0, 0}}), 1U);
    EXPECT_EQ(manager.getPolicyType(TARN_ID{{0xFFFFFFFF, 0, 0}}), 1U);
    EXPECT_EQ(manager.getPolicyType(TARN_ID{{0xFFFFFFFF00000000, 0, 0}}), 1U);
}

TEST(PolicyTypes, ThePolicyTypeTakesNoLockOfTheManager) {
    ManagerAccess manager;
    const MutexTrace trace(manager);
    static_cast<void>(manager.getPolicyType(TARN_ID{{1, 2, 3}}));
    EXPECT_TRUE(trace.steps().empty());
}

}  // namespace
