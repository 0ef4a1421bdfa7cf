#include "libtarnpolicysync/compiler/RuleSlice.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr std::size_t kLargestBlock = 4 * kLargePage / sizeof(TARN_ID);

bool sameParam(const FuncParam& left, const FuncParam& right) {
    return left.uiParamType == right.uiParamType && left.iData == right.iData && left.strData == right.strData;
}

bool sameParams(const std::vector<FuncParam>& left, const std::vector<FuncParam>& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), sameParam);
}

bool sameExpr(const ExprNode& left, const ExprNode& right) {
    return left.uiExprType == right.uiExprType && left.uiValue == right.uiValue &&
           left.strFuncName == right.strFuncName && left.strVarName == right.strVarName &&
           sameParams(left.vecParam, right.vecParam);
}

bool sameAction(const DoFuncNode& left, const DoFuncNode& right) {
    return left.strFuncName == right.strFuncName && sameParams(left.vecParam, right.vecParam);
}

// Everything that the encoder reads but the identifiers.
bool sameHead(const PolicyNode& left, const PolicyNode& right) {
    return left.uiAttrA == right.uiAttrA && left.uiAttrB == right.uiAttrB && left.sPermClass == right.sPermClass &&
           left.sPerm == right.sPerm && left.strNamespace == right.strNamespace && left.strGroup == right.strGroup &&
           left.strModuleName == right.strModuleName &&
           std::equal(std::begin(left.uiExt), std::end(left.uiExt), std::begin(right.uiExt)) &&
           std::equal(left.vecExpr.begin(), left.vecExpr.end(), right.vecExpr.begin(), right.vecExpr.end(), sameExpr) &&
           std::equal(left.vecDoFunc.begin(), left.vecDoFunc.end(), right.vecDoFunc.begin(), right.vecDoFunc.end(),
                      sameAction);
}

PolicyNode headOf(const PolicyNode& rule) {
    PolicyNode head;
    head.uiAttrA = rule.uiAttrA;
    head.uiAttrB = rule.uiAttrB;
    head.sPermClass = rule.sPermClass;
    head.sPerm = rule.sPerm;
    head.vecExpr = rule.vecExpr;
    head.vecDoFunc = rule.vecDoFunc;
    std::copy(std::begin(rule.uiExt), std::end(rule.uiExt), std::begin(head.uiExt));
    head.strNamespace = rule.strNamespace;
    head.strGroup = rule.strGroup;
    head.strModuleName = rule.strModuleName;
    return head;
}

// Whether the rule has as many subjects and as many objects as those of the run.
bool sameCounts(const RuleRun& run, const PolicyNode& rule) {
    return run.subjectCount == rule.vecSubjectId.size() && run.objectCount == rule.vecObjectId.size();
}

}  // namespace

void RuleSlice::add(const PolicyNode& rule) {
    const std::size_t count = rule.vecSubjectId.size() + rule.vecObjectId.size();
    bool continues = !runs_.empty() && sameCounts(runs_.back(), rule);
    if (heads_.empty() || !sameHead(heads_.back(), rule)) {
        heads_.push_back(headOf(rule));
        continues = false;
    }
    if (!hasRoom(count)) {
        addBlock(count);
        continues = false;
    }
    const TARN_ID* identifiers = append(rule);
    if (continues) {
        ++runs_.back().ruleCount;
    } else {
        runs_.push_back({&heads_.back(), rule.vecSubjectId.size(), rule.vecObjectId.size(), identifiers, 1});
    }
}

bool RuleSlice::hasRoom(std::size_t identifiers) const {
    return !blocks_.empty() && blocks_.back().capacity() - blocks_.back().size() >= identifiers;
}

// A small slice takes little, and a large one few blocks.
void RuleSlice::addBlock(std::size_t least) {
    const std::size_t size = blocks_.empty() ? 0 : blocks_.back().capacity();
    Block block;
    block.reserve(std::max(least, std::min(2 * size, kLargestBlock)));
    blocks_.push_back(std::move(block));
}

const TARN_ID* RuleSlice::append(const PolicyNode& rule) {
    Block& block = blocks_.back();
    const std::size_t begin = block.size();
    block.insert(block.end(), rule.vecSubjectId.begin(), rule.vecSubjectId.end());
    block.insert(block.end(), rule.vecObjectId.begin(), rule.vecObjectId.end());
    return block.data() + begin;
}
