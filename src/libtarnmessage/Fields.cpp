#include "libtarnmessage/Fields.h"

#include <algorithm>
#include <cstring>

namespace tarnmessage {

namespace {

using kernelmsg::ExprRecord;
using kernelmsg::FuncNodeRecord;
using kernelmsg::MessageHeader;
using kernelmsg::NameNodeRecord;
using kernelmsg::ParamInfo;
using kernelmsg::PolicyNodeRecord;

// One field of a fixed part: where it stands in its structure, and what it is.
struct Row {
    std::size_t offset;
    std::size_t size;
    const char* name;
    FieldForm form = FieldForm::kNumber;
    FieldMeaning meaning = FieldMeaning::kPlain;
};

template <std::size_t Count>
constexpr bool covers(const Row (&rows)[Count], std::size_t size) {
    std::size_t end = 0;
    for (const Row& row : rows) {
        if (row.offset != end) {
            return false;
        }
        end += row.size;
    }
    return end == size;
}

constexpr std::size_t kWord = sizeof(std::uint32_t);
constexpr std::size_t kLongWord = sizeof(std::uint64_t);

constexpr Row kHeaderRows[] = {
    {offsetof(MessageHeader, format), kWord, "format"},
    {offsetof(MessageHeader, length), kWord, "length of the message"},
    {offsetof(MessageHeader, recordSize), kWord, "record size"},
    {offsetof(MessageHeader, recordCount), kWord, "record count"},
    {offsetof(MessageHeader, type), kWord, "type", FieldForm::kNumber, FieldMeaning::kMessageType},
};
static_assert(covers(kHeaderRows, sizeof(MessageHeader)));

constexpr std::size_t kSubject = offsetof(PolicyNodeRecord, subject);
constexpr std::size_t kObject = offsetof(PolicyNodeRecord, object);
constexpr std::size_t kExt = offsetof(PolicyNodeRecord, ext);
constexpr Row kPolicyRows[] = {
    {offsetof(PolicyNodeRecord, policyType), kWord, "policy type"},
    {offsetof(PolicyNodeRecord, attrB), kWord, "attribute B"},
    {kSubject, kLongWord, "subject, word 1:", FieldForm::kHexadecimal},
    {kSubject + kLongWord, kLongWord, "subject, word 2:", FieldForm::kHexadecimal},
    {kSubject + 2 * kLongWord, kLongWord, "subject, word 3:", FieldForm::kHexadecimal, FieldMeaning::kIdentifier},
    {kObject, kLongWord, "object, word 1:", FieldForm::kHexadecimal},
    {kObject + kLongWord, kLongWord, "object, word 2:", FieldForm::kHexadecimal},
    {kObject + 2 * kLongWord, kLongWord, "object, word 3:", FieldForm::kHexadecimal, FieldMeaning::kIdentifier},
    {offsetof(PolicyNodeRecord, attrA), kWord, "attribute A"},
    {offsetof(PolicyNodeRecord, permClass), kWord, "permission class", FieldForm::kNumber, FieldMeaning::kPermClass},
    {offsetof(PolicyNodeRecord, perm), kWord, "permission", FieldForm::kNumber, FieldMeaning::kPermission},
    {kExt, kWord, "first further word"},
    {kExt + kWord, kWord, "name number", FieldForm::kNumber, FieldMeaning::kNameNumber},
    {kExt + 2 * kWord, kWord, "third further word"},
    {kExt + 3 * kWord, kWord, "fourth further word"},
    {kExt + 4 * kWord, kWord, "fifth further word"},
    {offsetof(PolicyNodeRecord, exprCount), kWord, "condition nodes"},
    {offsetof(PolicyNodeRecord, actionCount), kWord, "actions"},
};
static_assert(covers(kPolicyRows, sizeof(PolicyNodeRecord)));

constexpr Row kNodeRows[] = {
    {offsetof(ExprRecord, type), kWord, "node type", FieldForm::kNumber, FieldMeaning::kNodeType},
    {offsetof(ExprRecord, value), kWord, "value"},
    {offsetof(ExprRecord, functionId), kWord, "function number", FieldForm::kNumber, FieldMeaning::kFunctionNumber},
    {offsetof(ExprRecord, paramCount), kWord, "parameter count"},
    {offsetof(ExprRecord, nameLength), kWord, "name length"},
};
static_assert(covers(kNodeRows, sizeof(ExprRecord)));

constexpr Row kParamRows[] = {
    {offsetof(ParamInfo, type), kWord, "parameter type"},
    {offsetof(ParamInfo, length), kWord, "length"},
};
static_assert(covers(kParamRows, sizeof(ParamInfo)));

constexpr std::size_t kReserved = offsetof(NameNodeRecord, reserved);
constexpr Row kNameRows[] = {
    {offsetof(NameNodeRecord, nameId), kWord, "name number", FieldForm::kNumber, FieldMeaning::kNameNumber},
    {offsetof(NameNodeRecord, nameLength), kWord, "name length"},
    {offsetof(NameNodeRecord, functionCount), kWord, "function count"},
    {kReserved, kWord, "reserved"},
    {kReserved + kWord, kWord, "reserved"},
    {kReserved + 2 * kWord, kWord, "reserved"},
};
static_assert(covers(kNameRows, sizeof(NameNodeRecord)));

constexpr Row kFunctionRows[] = {
    {offsetof(FuncNodeRecord, functionId), kWord, "function number"},
    {offsetof(FuncNodeRecord, nameLength), kWord, "name length"},
};
static_assert(covers(kFunctionRows, sizeof(FuncNodeRecord)));

std::uint64_t numberIn(std::string_view bytes) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof(value)));
    return value;
}

// Goes over the bytes of one record, block or message and hands field after field to the sink.
class FieldWriter {
public:
    FieldWriter(std::string_view bytes, std::size_t offset, FieldSink& sink)
        : bytes_(bytes), start_(offset), position_(offset), sink_(sink) {}

    void number(std::size_t size, const char* name, FieldForm form, FieldMeaning meaning,
                const TARN_ID* identifier = nullptr) {
        Field field;
        field.offset = position_;
        field.bytes = take(size);
        field.name = name;
        field.form = form;
        field.meaning = meaning;
        field.value = numberIn(field.bytes);
        field.identifier = identifier;
        sink_.onField(field);
    }

    void text(std::size_t size, const char* name) {
        if (size != 0) {
            const std::size_t offset = position_;
            sink_.onField({offset, take(size), name, FieldForm::kText, FieldMeaning::kPlain, 0, nullptr});
        }
    }

    void magicNumber() {
        number(sizeof(kernelmsg::kMagicNumber), "magic number", FieldForm::kHexadecimal, FieldMeaning::kPlain);
    }

    template <std::size_t Count>
    void rows(const Row (&rows)[Count]) {
        for (const Row& row : rows) {
            number(row.size, row.name, row.form, row.meaning);
        }
    }

    void policyNode(const PolicyNodeRecord& node) {
        for (const Row& row : kPolicyRows) {
            const TARN_ID* identifier = row.meaning != FieldMeaning::kIdentifier ? nullptr
                                        : row.offset < kObject                   ? &node.subject
                                                                                 : &node.object;
            number(row.size, row.name, row.form, row.meaning, identifier);
        }
    }

    void node(const ExprView& node, const char* part, std::size_t number) {
        sink_.onPart(part, number);
        rows(kNodeRows);
        text(node.variable.size(), "variable");
        ParamCursor params = node.params();
        for (ParamView param; params.next(param);) {
            parameter(param);
        }
    }

private:
    void parameter(const ParamView& param) {
        rows(kParamRows);
        if (param.info.type == kernelmsg::kParamInteger) {
            number(sizeof(param.integer), "integer", FieldForm::kSigned, FieldMeaning::kPlain);
        } else {
            text(param.text.size(), "string");
        }
    }

    std::string_view take(std::size_t size) {
        const std::string_view taken = bytes_.substr(position_ - start_, size);
        position_ += size;
        return taken;
    }

    std::string_view bytes_;
    std::size_t start_;
    std::size_t position_;
    FieldSink& sink_;
};

}  // namespace

void showHeader(std::string_view message, FieldSink& sink) {
    sink.onPart("header", 0);
    if (message.size() >= sizeof(MessageHeader)) {
        FieldWriter(message, 0, sink).rows(kHeaderRows);
    }
}

void showPolicy(const PolicyRecordView& record, std::size_t number, FieldSink& sink) {
    sink.onPart("record", number);
    FieldWriter writer(record.bytes, record.offset, sink);
    writer.magicNumber();
    writer.policyNode(record.node);
    std::size_t index = 0;
    ExprCursor condition = record.condition();
    for (ExprView node; condition.next(node); ++index) {
        writer.node(node, "condition node", index);
    }
    index = 0;
    ExprCursor actions = record.actions();
    for (ExprView action; actions.next(action); ++index) {
        writer.node(action, "action", index);
    }
}

void showNamespace(const NamespaceView& block, std::size_t number, FieldSink& sink) {
    sink.onPart("namespace", number);
    FieldWriter writer(block.bytes, block.offset, sink);
    writer.magicNumber();
    writer.rows(kNameRows);
    writer.text(block.name.size(), "name");
    FunctionCursor functions = block.functions();
    for (FunctionView function; functions.next(function);) {
        writer.rows(kFunctionRows);
        writer.text(function.name.size(), "name");
    }
}

void showEnd(std::string_view message, FieldSink& sink) {
    constexpr std::size_t kSize = sizeof(kernelmsg::kEndNumber);
    const std::size_t offset = message.size() - kSize;
    sink.onPart("end", 0);
    FieldWriter(message.substr(offset), offset, sink)
        .number(kSize, "end number", FieldForm::kHexadecimal, FieldMeaning::kPlain);
}

}  // namespace tarnmessage
