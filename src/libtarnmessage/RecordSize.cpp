#include "libtarnmessage/RecordSize.h"

namespace tarnmessage {

std::uint64_t encodedParamsSize(const std::vector<FuncParam>& params) {
    std::uint64_t size = 0;
    for (const FuncParam& param : params) {
        size += sizeof(kernelmsg::ParamInfo);
        size += param.uiParamType == kernelmsg::kParamInteger ? sizeof(param.iData) : param.strData.size();
    }
    return size;
}

std::uint64_t encodedExprSize(const ExprNode& node, const std::string& nameSpace) {
    std::uint64_t size = sizeof(kernelmsg::ExprRecord) + encodedParamsSize(node.vecParam);
    if (node.uiExprType == kernelmsg::kExprVariable) {
        size += nameSpace.size() + 1 + node.strVarName.size();  // "namespace:variable"
    }
    return size;
}

std::uint64_t encodedActionSize(const DoFuncNode& action) {
    return sizeof(kernelmsg::ExprRecord) + encodedParamsSize(action.vecParam);
}

std::uint64_t encodedRecordSize(const PolicyNode& rule) {
    std::uint64_t size = sizeof(kernelmsg::kMagicNumber) + sizeof(kernelmsg::PolicyNodeRecord);
    for (const ExprNode& node : rule.vecExpr) {
        size += encodedExprSize(node, rule.strNamespace);
    }
    for (const DoFuncNode& action : rule.vecDoFunc) {
        size += encodedActionSize(action);
    }
    return size;
}

std::uint64_t recordsOfRule(const PolicyNode& rule) {
    return std::uint64_t{rule.vecSubjectId.size()} * rule.vecObjectId.size();
}

std::uint64_t encodedNamespaceSize(const std::string& name, const std::vector<std::string>& functions) {
    if (functions.empty()) {
        return 0;
    }
    std::uint64_t size = sizeof(kernelmsg::kMagicNumber) + sizeof(kernelmsg::NameNodeRecord) + name.size();
    for (const std::string& function : functions) {
        size += sizeof(kernelmsg::FuncNodeRecord) + function.size();
    }
    return size;
}

}  // namespace tarnmessage
