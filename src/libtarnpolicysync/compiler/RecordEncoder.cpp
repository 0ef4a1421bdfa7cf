#include <algorithm>
#include <iterator>

#include "Common/Log.h"
#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/compiler/NumberLookup.h"

namespace {

bool append(EncoderOutput out, const void* source, unsigned long count, const char* complaint) {
    if (safeMemcpy(out.cursor, out.used, kernelmsg::kMessageCapacity, source, count)) {
        return true;
    }
    TARN_LOG(kLogError, complaint);
    return false;
}

bool appendParam(EncoderOutput out, const FuncParam& param, const char* badType) {
    const bool isText = param.uiParamType == kernelmsg::kParamString;
    const kernelmsg::ParamInfo info{param.uiParamType, isText ? static_cast<std::uint32_t>(param.strData.size()) : 0U};
    if (!append(out, &info, sizeof info, "Failed to copy expr_para_info, buffer full")) {
        return false;
    }
    if (isText) {
        return append(out, param.strData.data(), param.strData.size(), "Failed to copy funcparam.strData, buffer full");
    }
    if (param.uiParamType == kernelmsg::kParamInteger) {
        return append(out, &param.iData, sizeof param.iData, "Failed to copy funcparam.iData, buffer full");
    }
    TARN_LOG(kLogError, badType);
    return false;
}

bool appendParams(EncoderOutput out, const std::vector<FuncParam>& params, const char* badType) {
    return std::all_of(params.begin(), params.end(),
                       [&](const FuncParam& param) { return appendParam(out, param, badType); });
}

}  // namespace

unsigned int PolicyModuleManagerInterface::Private::encodeExpr(NumberLookup& lookup, const PolicyNode& rule,
                                                               const ExprNode& expr, EncoderOutput out) {
    int functionId = 0;
    if (expr.uiExprType == kernelmsg::kExprCall) {
        const int status = lookup.functionNumber(rule, expr.strFuncName, functionId);
        if (status != 0) {
            TARN_LOG(kLogError, "####ERROR: in makeSingleExprPolicy, getFuncId error.");
            return static_cast<unsigned int>(status);
        }
    }
    const bool isVariable = expr.uiExprType == kernelmsg::kExprVariable;
    const bool hasValue = isVariable || expr.uiExprType == kernelmsg::kExprConstant;
    const std::string variable = isVariable ? rule.strNamespace + ":" + expr.strVarName : std::string();
    const kernelmsg::ExprRecord record{
        expr.uiExprType, hasValue ? expr.uiValue : 0U, static_cast<std::uint32_t>(functionId),
        static_cast<std::uint32_t>(expr.vecParam.size()), static_cast<std::uint32_t>(variable.size())};
    const bool complete =
        append(out, &record, sizeof record, "Failed to copy expr, buffer full") &&
        (!isVariable || append(out, variable.data(), variable.size(), "Failed to copy dynamic name, buffer full")) &&
        appendParams(out, expr.vecParam, "####ERROR: parameter type error.");
    return complete ? 0 : 1;
}

unsigned int PolicyModuleManagerInterface::Private::encodeAction(NumberLookup& lookup, const PolicyNode& rule,
                                                                 const DoFuncNode& action, EncoderOutput out) {
    int functionId = 0;
    const int status = lookup.functionNumber(rule, action.strFuncName, functionId);
    if (status != 0) {
        TARN_LOG(kLogError, "####ERROR: in makeSingleDoFuncPolicy, getFuncId error.");
        return static_cast<unsigned int>(status);
    }
    const kernelmsg::ExprRecord record{kernelmsg::kExprCall, 0, static_cast<std::uint32_t>(functionId),
                                       static_cast<std::uint32_t>(action.vecParam.size()), 0};
    // Conditions complain in English, actions in Chinese; operators search for both.
    const bool complete = append(out, &record, sizeof record, "Failed to copy expr_node, buffer full") &&
                          appendParams(out, action.vecParam, "####ERROR: 参数类型错误.");
    return complete ? 0 : 1;
}

unsigned int PolicyModuleManagerInterface::Private::encodeRecord(NumberLookup& lookup, const PolicyNode& rule,
                                                                 const TARN_ID& subject, const TARN_ID& object,
                                                                 EncoderOutput out) {
    NumberLookup::Permission permission;
    if (lookup.permission(rule.sPermClass, rule.sPerm, permission) != 0) {
        TARN_LOG(kLogError, "####ERROR: in func %s, transPerm error，permclass is %s，perm is %s", "makeSinglePolicy",
                 rule.sPermClass.c_str(), rule.sPerm.c_str());
        return 1;
    }
    int nameId = 0;
    if (const int status = lookup.nameNumber(rule.strNamespace, nameId)) {
        TARN_LOG(kLogError, "####ERROR: in func %s, getNameId error", "makeSinglePolicy");
        return static_cast<unsigned int>(status);
    }

    kernelmsg::PolicyNodeRecord node{};
    node.policyType = kernelmsg::policyTypeOf(object);
    node.attrB = rule.uiAttrB;
    node.subject = subject;
    node.object = object;
    node.attrA = rule.uiAttrA;
    node.permClass = static_cast<std::uint32_t>(permission.classValue);
    node.perm = static_cast<std::uint32_t>(permission.permValue);
    std::copy(std::begin(rule.uiExt), std::end(rule.uiExt), std::begin(node.ext));
    node.ext[1] = static_cast<std::uint32_t>(nameId);
    node.exprCount = static_cast<std::uint32_t>(rule.vecExpr.size());
    node.actionCount = static_cast<std::uint32_t>(rule.vecDoFunc.size());
    if (!append(out, &kernelmsg::kMagicNumber, sizeof kernelmsg::kMagicNumber,
                "Failed to copy magic_number, buffer full") ||
        !append(out, &node, sizeof node, "Failed to copy policy_node, buffer full")) {
        return 1;
    }

    std::vector<ExprNode> prefix;
    if (postToPreFix(rule.vecExpr, prefix) != 0) {
        TARN_LOG(kLogError, "####ERROR: in func %s, postToPreFix error", "makeSinglePolicy");
        return 1;
    }
    for (const ExprNode& expr : prefix) {
        if (const unsigned int status = encodeExpr(lookup, rule, expr, out)) {
            TARN_LOG(kLogError, "####ERROR: in func %s, makeSingleExprPolicy error", "makeSinglePolicy");
            return status;
        }
    }
    for (const DoFuncNode& action : rule.vecDoFunc) {
        if (const unsigned int status = encodeAction(lookup, rule, action, out)) {
            TARN_LOG(kLogError, "####ERROR: in func %s, makeSingleDoFuncPolicy error", "makeSinglePolicy");
            return status;
        }
    }
    return 0;
}

unsigned int PolicyModuleManagerInterface::makeSinglePolicy(PolicyNode node, TARN_ID subject, TARN_ID object,
                                                            char*& cursor, unsigned long& used) {
    Private::NumberLookup lookup(*this);
    return Private::encodeRecord(lookup, node, subject, object, {cursor, used});
}

unsigned int PolicyModuleManagerInterface::makeSingleExprPolicy(PolicyNode node, ExprNode expr, char*& cursor,
                                                                unsigned long& used) {
    Private::NumberLookup lookup(*this);
    return Private::encodeExpr(lookup, node, expr, {cursor, used});
}

unsigned int PolicyModuleManagerInterface::makeSingleDoFuncPolicy(PolicyNode node, DoFuncNode doFunc, char*& cursor,
                                                                  unsigned long& used) {
    Private::NumberLookup lookup(*this);
    return Private::encodeAction(lookup, node, doFunc, {cursor, used});
}
