#include "libtarnmessage/MessageText.h"
#include "libtarnnames/RecordText.h"
#include "reading/Printer.h"

namespace {

class TextPrinter : public Printer {
public:
    using Printer::Printer;

    void onNamespace(const tarnmessage::NamespaceView& block) override { write(namespaceText(block)); }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        text_ = "record " + std::to_string(number_++) + " at offset " + std::to_string(record.offset) + ", " +
                std::to_string(record.bytes.size()) + " bytes\n";
        appendRecordText(text_, record, wordsOf(record), book());
        write(text_);
    }

protected:
    void startMessage(std::string_view bytes, const kernelmsg::MessageHeader& header, bool hasHeader) override {
        number_ = 0;
        write(shownPath() + ": " + messageTitle(bytes.size(), header, hasHeader) + "\n");
    }
    void endMessage(const tarnmessage::FileReport& file, std::string_view /*bytes*/) override {
        if (!file.sound()) {
            write(shownPath() + ": unsound: " + whatStandsAgainst(file) + "\n");
        }
    }

private:
    std::string text_;
    std::size_t number_ = 0;
};

}  // namespace

std::unique_ptr<Printer> makeTextPrinter(Report& report, const tarnnames::NameBook& book, std::string folder) {
    return std::make_unique<TextPrinter>(report, book, std::move(folder));
}
