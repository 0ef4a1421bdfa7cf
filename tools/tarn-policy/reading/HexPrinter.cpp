// Annotated hex: bytes on the left, what they mean behind "#". Without what stands behind "#" the lines are the message.
#include "libtarnmessage/Fields.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnnames/RecordText.h"
#include "reading/Printer.h"

namespace {

using tarnmessage::Field;
using tarnmessage::FieldForm;
using tarnmessage::FieldMeaning;
using tarnmessage::shownNames;

constexpr std::size_t kBytesPerLine = 12;
constexpr std::size_t kColumn = 3 * kBytesPerLine;

std::string hexNumber(std::uint64_t value) {
    constexpr unsigned int kNibble = 4;
    std::string text;
    do {
        text.insert(text.begin(), "0123456789abcdef"[value & 0xFU]);
        value >>= kNibble;
    } while (value != 0);
    return "0x" + text;
}

std::string valueText(const Field& field) {
    switch (field.form) {
        case FieldForm::kHexadecimal:
            return hexNumber(field.value);
        case FieldForm::kSigned:
            return std::to_string(static_cast<std::int64_t>(field.value));
        case FieldForm::kText:
            return tarnmessage::quoted(field.bytes);
        default:
            return std::to_string(field.value);
    }
}

std::string nodeTypeText(std::uint64_t type) {
    switch (type) {
        case kernelmsg::kExprNot:
            return "not";
        case kernelmsg::kExprCall:
            return "call";
        case kernelmsg::kExprConstant:
            return "constant";
        case kernelmsg::kExprVariable:
            return "dynamic variable";
        default:
            return type >= kernelmsg::kExprFirstBinary && type <= kernelmsg::kExprLastBinary ? "binary operator"
                                                                                             : "operand";
    }
}

class HexPrinter : public Printer, private tarnmessage::FieldSink {
public:
    using Printer::Printer;

    void onNamespace(const tarnmessage::NamespaceView& block) override {
        nameId_ = block.node.nameId;
        showNamespace(block, number_++, *this);
        finish();
    }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        nameId_ = record.nameId();
        functionNames_ = 0;
        words_ = &wordsOf(record);
        showPolicy(record, number_++, *this);
        words_ = nullptr;
        finish();
    }

protected:
    void startMessage(std::string_view bytes, const kernelmsg::MessageHeader& header, bool hasHeader) override {
        number_ = 0;
        shown_ = 0;
        text_ = "# " + shownPath() + ": " + messageTitle(bytes.size(), header, hasHeader) + "\n";
        showHeader(bytes, *this);
        finish();
    }
    void endMessage(const tarnmessage::FileReport& file, std::string_view bytes) override {
        if (file.sound() && shown_ < bytes.size()) {
            showEnd(bytes, *this);
        } else if (!file.sound()) {
            text_ += "\n# " + shownPath() + ": unsound: " + whatStandsAgainst(file) + "\n";
            if (shown_ < bytes.size()) {
                appendBytes(bytes.substr(shown_), "not read from offset " + std::to_string(shown_) + " on");
            }
        }
        text_ += "\n";
        finish();
    }

private:
    void onPart(const char* name, std::size_t number) override {
        finish();  // a record can be long: its text need not be kept
        const bool isCounted = std::string_view(name) != "header" && std::string_view(name) != "end";
        text_ += std::string("\n# ") + name + (isCounted ? " " + std::to_string(number) : "") + "\n";
    }
    void onField(const Field& field) override {
        appendBytes(field.bytes,
                    std::to_string(field.offset) + "  " + field.name + " " + valueText(field) + namesOf(field));
        shown_ = field.offset + field.bytes.size();
    }

    void appendBytes(std::string_view bytes, const std::string& meaning) {
        for (std::size_t begin = 0; begin < bytes.size(); begin += kBytesPerLine) {
            const std::size_t start = text_.size();
            for (const char character : bytes.substr(begin, kBytesPerLine)) {
                const auto byte = static_cast<unsigned char>(character);
                text_ += "0123456789abcdef"[byte >> 4U];
                text_ += "0123456789abcdef"[byte & 0xFU];
                text_ += ' ';
            }
            text_.resize(start + kColumn, ' ');
            text_ += " # " + (begin == 0 ? meaning : "continued") + "\n";
        }
    }

    std::string namesOf(const Field& field) {
        const std::string names = plainNamesOf(field);
        return names.empty() ? "" : " (" + names + ")";
    }

    // Bounded for each record, as the texts of its condition and its actions are.
    std::string functionName(std::uint32_t number) {
        const std::string* name = book().functionsOf(nameId_).findFunction(nameId_, number);
        if (name == nullptr) {
            return "";
        }
        if (functionNames_ >= tarnmessage::kMostExpressionText) {
            return "name left out";
        }
        std::string text = tarnmessage::shownName(*name);
        functionNames_ += text.size();
        return text;
    }

    std::string plainNamesOf(const Field& field) {
        switch (field.meaning) {
            case FieldMeaning::kMessageType:
                return tarnmessage::messageTypeText(static_cast<std::uint32_t>(field.value));
            case FieldMeaning::kNameNumber:
                return shownNames(words_ == nullptr ? book().namespaceNames(nameId_) : words_->nameSpaces);
            case FieldMeaning::kIdentifier:
                return tarnnames::identifierNames(*field.identifier, book().identifiers());
            case FieldMeaning::kPermClass:
                return words_ == nullptr ? "" : shownNames(words_->classes);
            case FieldMeaning::kPermission:
                return words_ == nullptr ? "" : shownNames(words_->permissions);
            case FieldMeaning::kNodeType:
                return nodeTypeText(field.value);
            case FieldMeaning::kFunctionNumber:
                return functionName(static_cast<std::uint32_t>(field.value));
            default:
                return "";
        }
    }

    void finish() {
        write(text_);
        text_.clear();
    }

    std::string text_;
    std::size_t number_ = 0;
    std::size_t shown_ = 0;  // bytes of the message
    std::uint32_t nameId_ = 0;
    std::size_t functionNames_ = 0;  // bytes of them that were shown for this record
    const tarnnames::RecordWords* words_ = nullptr;
};

}  // namespace

std::unique_ptr<Printer> makeHexPrinter(Report& report, const tarnnames::NameBook& book, std::string folder) {
    return std::make_unique<HexPrinter>(report, book, std::move(folder));
}
