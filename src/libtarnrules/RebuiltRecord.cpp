#include "libtarnrules/RebuiltRecord.h"

#include <utility>

#include "libtarnrules/FormBytes.h"

namespace tarnrules {

namespace {

// Writes a record while its form is read.
class Builder {
public:
    Builder(std::string_view form, std::string& bytes) : form_(form), bytes_(bytes) {}

    void head(kernelmsg::PolicyNodeRecord& node, std::vector<std::string>& namespaceNames) {
        node.subject = form_.takeIdentifier();
        node.object = form_.takeIdentifier();
        node.policyType = kernelmsg::policyTypeOf(node.object);
        node.permClass = form_.take32();
        node.perm = form_.take32();
        const std::uint32_t names = form_.take32();
        node.ext[1] = names == 0 ? form_.take32() : 0;
        for (std::uint32_t index = 0; index < names; ++index) {
            namespaceNames.emplace_back(form_.takeText());
        }
        node.attrA = form_.take32();
        node.attrB = form_.take32();
        for (const std::size_t word : {0U, 2U, 3U, 4U}) {
            node.ext[word] = form_.take32();
        }
    }

    // Gives their number.
    std::uint32_t nodes() {
        const std::uint32_t count = form_.take32();
        for (std::uint32_t index = 0; index < count; ++index) {
            node();
        }
        return count;
    }

    std::vector<std::string>& functions() { return functions_; }

private:
    template <typename T>
    void append(const T& value) {
        bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
    }

    void node() {
        kernelmsg::ExprRecord record{};
        std::string_view variable;
        record.type = form_.take32();
        record.value = form_.take32();
        if (record.type == kernelmsg::kExprCall) {
            functions_.push_back(takeFunction());
            record.functionId = static_cast<std::uint32_t>(functions_.size());
        } else if (record.type == kernelmsg::kExprVariable) {
            variable = form_.takeText();
            record.nameLength = static_cast<std::uint32_t>(variable.size());
        }
        record.paramCount = form_.take32();
        append(record);
        bytes_ += variable;
        for (std::uint32_t index = 0; index < record.paramCount; ++index) {
            param();
        }
    }

    void param() {
        kernelmsg::ParamInfo info{form_.take32(), 0};
        if (info.type == kernelmsg::kParamInteger) {
            append(info);
            append(form_.take64());
        } else {
            const std::string_view text = form_.takeText();
            info.length = static_cast<std::uint32_t>(text.size());
            append(info);
            bytes_ += text;
        }
    }

    std::string takeFunction() {
        const bool hasName = form_.take32() != 0;
        return hasName ? std::string(form_.takeText()) : "function#" + std::to_string(form_.take32());
    }

    FormReader form_;
    std::string& bytes_;
    std::vector<std::string> functions_;
};

}  // namespace

RebuiltRecord::RebuiltRecord(std::string_view form) {
    Builder builder(form, bytes_);
    builder.head(view_.node, namespaceNames_);
    view_.node.exprCount = builder.nodes();
    const std::size_t actions = bytes_.size();
    view_.node.actionCount = builder.nodes();
    view_.conditionBytes = tarnmessage::ByteCursor(bytes_, 0, actions);
    view_.actionBytes = tarnmessage::ByteCursor(bytes_, actions, bytes_.size());
    functions_.add(view_.nameId(), {"", std::move(builder.functions())});
}

}  // namespace tarnrules
