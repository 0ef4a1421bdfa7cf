#include "libtarnrules/CanonicalForm.h"

#include "libtarnrules/FormBytes.h"

namespace tarnrules {

namespace {

using tarnmessage::ExprCursor;
using tarnmessage::ExprView;
using tarnmessage::ParamCursor;
using tarnmessage::ParamView;
using tarnmessage::PolicyRecordView;

// Behind subject, object, class and permission.
constexpr std::size_t kNamespacePlace = 2 * sizeof(TARN_ID) + 2 * sizeof(std::uint32_t);

void appendParams(std::string& form, const ExprView& node) {
    append32(form, node.record.paramCount);
    ParamCursor params = node.params();
    for (ParamView param; params.next(param);) {
        append32(form, param.info.type);
        if (param.info.type == kernelmsg::kParamInteger) {
            append64(form, static_cast<std::uint64_t>(param.integer));
        } else {
            appendText(form, param.text);
        }
    }
}

enum class LongNames { kWhole, kStandIns };

template <LongNames kind>
class Writer {
public:
    Writer(std::string& bytes, const PolicyRecordView& record, RuleNames& names)
        : bytes_(bytes), record_(record), names_(names) {}

    // The policy type is left out: it follows from the object.
    bool write() {
        const kernelmsg::PolicyNodeRecord& node = record_.node;
        bytes_.clear();
        appendIdentifier(bytes_, node.subject);
        appendIdentifier(bytes_, node.object);
        append32(bytes_, node.permClass);
        append32(bytes_, node.perm);
        appendNamespace();

        append32(bytes_, node.attrA);
        append32(bytes_, node.attrB);
        for (const std::size_t word : {0U, 2U, 3U, 4U}) {
            append32(bytes_, node.ext[word]);
        }
        return appendNodes(node.exprCount, record_.condition()) && appendNodes(node.actionCount, record_.actions());
    }

private:
    bool fits() const { return bytes_.size() + saved_ <= kMostFormBytes; }

    void appendNamespace() {
        if constexpr (kind == LongNames::kStandIns) {
            append(names_.namespaceKey(record_.nameId()));
        } else {
            bytes_ += names_.namespaceForm(record_.nameId());
        }
    }

    void append(const RuleNames::Key& key) {
        bytes_ += key.bytes;
        saved_ += key.formBytes - key.bytes.size();
    }

    void appendFunction(std::uint32_t number) {
        const std::string* name = names_.functionName(record_.nameId(), number);
        if (name == nullptr) {
            append32(bytes_, 0);
            append32(bytes_, number);
        } else if (kind == LongNames::kStandIns && LongForms::formBytesOf(*name) > LongForms::kMostWhole) {
            append(names_.functionKey(*name));
        } else {
            append32(bytes_, 1);
            appendText(bytes_, *name);
        }
    }

    // Conditions and actions alike: a count, then the nodes in the order of the record.
    bool appendNodes(std::uint32_t count, ExprCursor nodes) {
        append32(bytes_, count);
        for (ExprView node; fits() && nodes.next(node);) {
            append32(bytes_, node.record.type);
            append32(bytes_, node.record.value);
            if (node.record.type == kernelmsg::kExprCall) {
                appendFunction(node.record.functionId);
            } else if (node.record.type == kernelmsg::kExprVariable) {
                appendText(bytes_, node.variable);
            }
            appendParams(bytes_, node);
        }
        return fits();
    }

    std::string& bytes_;
    const PolicyRecordView& record_;
    RuleNames& names_;
    std::size_t saved_ = 0;  // by stand-ins
};

// Puts names back in the place of what stands for them.
class KeyReader {
public:
    KeyReader(std::string& form, std::string_view key, const LongForms& longForms)
        : form_(form), key_(key), longForms_(longForms) {}

    void read() {
        form_.clear();
        take(kNamespacePlace);
        takeNames();
        constexpr std::size_t kWords = 6;  // the attributes and the further words
        take(kWords * sizeof(std::uint32_t));
        takeNodes();
        takeNodes();
    }

private:
    void take(std::size_t count) {
        form_ += key_.substr(0, count);
        key_.remove_prefix(count);
    }
    std::uint32_t take32() {
        const std::uint32_t value = FormReader(key_).take32();
        take(sizeof value);
        return value;
    }
    void takeText() { take(take32()); }
    void takeNames() {
        const LongForms::Found found = longForms_.find(key_);
        form_ += found.form;
        key_.remove_prefix(found.length);
    }
    void takeNodes() {
        const std::uint32_t count = take32();
        for (std::uint32_t node = 0; node < count; ++node) {
            takeNode();
        }
    }
    void takeNode() {
        const std::uint32_t type = take32();
        static_cast<void>(take32());
        if (type == kernelmsg::kExprCall) {
            takeNames();
        } else if (type == kernelmsg::kExprVariable) {
            takeText();
        }
        const std::uint32_t params = take32();
        for (std::uint32_t param = 0; param < params; ++param) {
            if (take32() == kernelmsg::kParamInteger) {
                take(sizeof(std::uint64_t));
            } else {
                takeText();
            }
        }
    }

    std::string& form_;
    std::string_view key_;
    const LongForms& longForms_;
};

}  // namespace

bool writeForm(std::string& form, const PolicyRecordView& record, RuleNames& names) {
    return Writer<LongNames::kWhole>(form, record, names).write();
}

bool writeKey(std::string& key, const PolicyRecordView& record, RuleNames& names) {
    return Writer<LongNames::kStandIns>(key, record, names).write();
}

void writeFormOfKey(std::string& form, std::string_view key, const RuleNames& names) {
    KeyReader(form, key, names.longForms()).read();
}

std::string_view identityOf(std::string_view form) {
    FormReader reader(form.substr(kNamespacePlace));
    const std::uint32_t names = reader.take32();
    if (names == 0) {
        static_cast<void>(reader.take32());
    }
    for (std::uint32_t index = 0; index < names; ++index) {
        static_cast<void>(reader.takeText());
    }
    return form.substr(0, kNamespacePlace + reader.position());
}

}  // namespace tarnrules
