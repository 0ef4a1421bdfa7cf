#include <limits>

#include "libtarnmessage/MessageBody.h"

namespace tarnmessage {

namespace {

using kernelmsg::ExprRecord;
using kernelmsg::PolicyNodeRecord;

bool checkPolicyType(BodyReader& body, std::size_t nodeOffset, const PolicyNodeRecord& node) {
    const bool special = node.object.uiWord[0] == kernelmsg::kSpecialIdentifier;
    const std::uint32_t expected = special ? kernelmsg::kPolicySpecial : kernelmsg::kPolicyOrdinary;
    return body.require(FindingCode::kPolicyType, nodeOffset + offsetof(PolicyNodeRecord, policyType), expected,
                        node.policyType);
}

bool checkValue(BodyReader& body, std::size_t offset, const ExprRecord& record) {
    const bool hasValue = record.type == kernelmsg::kExprConstant || record.type == kernelmsg::kExprVariable;
    return hasValue || body.require(FindingCode::kValueNotZero, offset + offsetof(ExprRecord, value), 0, record.value);
}

// Only calls have a function number, and it must have been announced for the record's namespace.
bool checkFunction(BodyReader& body, std::size_t offset, const ExprRecord& record, const ReadContext& context,
                   std::uint32_t nameId) {
    const std::size_t field = offset + offsetof(ExprRecord, functionId);
    if (record.type != kernelmsg::kExprCall) {
        return body.require(FindingCode::kFunctionNotZero, field, 0, record.functionId);
    }
    const std::uint32_t announced = context.functions == nullptr ? std::numeric_limits<std::uint32_t>::max()
                                                                 : context.functions->functionCount(nameId);
    return (record.functionId >= 1 && record.functionId <= announced) ||
           body.fail(FindingCode::kUnknownFunction, field, announced, record.functionId);
}

bool readVariableName(BodyReader& body, std::size_t offset, const ExprRecord& record) {
    if (record.type != kernelmsg::kExprVariable) {
        return body.require(FindingCode::kNameLengthNotZero, offset + offsetof(ExprRecord, nameLength), 0,
                            record.nameLength);
    }
    const std::size_t nameOffset = body.cursor.position();
    std::string_view name;
    return body.takeBytes(record.nameLength, name) &&
           (name.find(':') != std::string_view::npos || body.fail(FindingCode::kVariableName, nameOffset, 1, 0));
}

bool readParameter(BodyReader& body) {
    const std::size_t offset = body.cursor.position();
    kernelmsg::ParamInfo info{};
    if (!body.take(info)) {
        return false;
    }
    if (info.type == kernelmsg::kParamInteger) {
        std::int64_t value = 0;
        return body.require(FindingCode::kIntegerLength, offset + offsetof(kernelmsg::ParamInfo, length), 0,
                            info.length) &&
               body.take(value);
    }
    std::string_view text;
    return (info.type == kernelmsg::kParamString ||
            body.fail(FindingCode::kParameterType, offset, kernelmsg::kParamString, info.type)) &&
           body.takeBytes(info.length, text);
}

// The count may be any number; the bytes bound the loop.
bool readParameters(BodyReader& body, std::uint32_t count) {
    for (; count != 0; --count) {
        if (!readParameter(body)) {
            return false;
        }
    }
    return true;
}

// One node of a condition or one action.
bool readNode(BodyReader& body, const ReadContext& context, std::uint32_t nameId, ExprRecord& record) {
    const std::size_t offset = body.cursor.position();
    return body.take(record) && checkValue(body, offset, record) &&
           checkFunction(body, offset, record, context, nameId) && readVariableName(body, offset, record) &&
           readParameters(body, record.paramCount);
}

std::uint32_t operandsOf(std::uint32_t type) {
    switch (type) {
        case kernelmsg::kExprNot:
            return 1;
        case kernelmsg::kExprFirstBinary:
        case kernelmsg::kExprSecondBinary:
            return 2;
        default:
            return type >= kernelmsg::kExprThirdBinary && type <= kernelmsg::kExprLastBinary ? 2 : 0;
    }
}

// The nodes of a condition, in prefix order, are exactly one expression: every node fills one place and opens as many
// as its operator has operands; the last node fills the last open place.
bool readCondition(BodyReader& body, const ReadContext& context, const PolicyNodeRecord& node) {
    std::uint64_t openPlaces = node.exprCount == 0 ? 0 : 1;
    for (std::uint32_t index = 0; index < node.exprCount; ++index) {
        if (openPlaces == 0) {
            return body.fail(FindingCode::kConditionSurplus, body.cursor.position(), index, node.exprCount);
        }
        ExprRecord record{};
        if (!readNode(body, context, node.ext[1], record)) {
            return false;
        }
        openPlaces += operandsOf(record.type);
        --openPlaces;
    }
    return openPlaces == 0 || body.fail(FindingCode::kConditionIncomplete, body.cursor.position(),
                                        node.exprCount + openPlaces, node.exprCount);
}

bool readActions(BodyReader& body, const ReadContext& context, const PolicyNodeRecord& node) {
    for (std::uint32_t index = 0; index < node.actionCount; ++index) {
        ExprRecord record{};
        ByteCursor peek = body.cursor;
        if (peek.take(record) &&
            !body.require(FindingCode::kActionType, body.cursor.position(), kernelmsg::kExprCall, record.type)) {
            return false;
        }
        if (!readNode(body, context, node.ext[1], record)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool readPolicyRecord(BodyReader& body, const ReadContext& context, PolicyRecordView& record) {
    record.offset = body.cursor.position();
    if (!body.takeMagicNumber()) {
        return false;
    }
    const std::size_t nodeOffset = body.cursor.position();
    if (!body.take(record.node) || !checkPolicyType(body, nodeOffset, record.node)) {
        return false;
    }
    record.conditionBytes = body.cursor;
    if (!readCondition(body, context, record.node)) {
        return false;
    }
    record.actionBytes = body.cursor;
    if (!readActions(body, context, record.node)) {
        return false;
    }
    record.bytes = body.bytes.substr(record.offset, body.cursor.position() - record.offset);
    return true;
}

}  // namespace tarnmessage
