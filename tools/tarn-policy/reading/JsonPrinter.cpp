#include "libtarnmessage/MessageText.h"
#include "libtarnnames/JsonText.h"
#include "libtarnnames/RecordJson.h"
#include "reading/FindingJson.h"
#include "reading/Printer.h"

namespace {

using tarnnames::appendJsonNumber;
using tarnnames::appendJsonString;

void appendHeader(std::string& json, const kernelmsg::MessageHeader& header) {
    json += ",\"type\":";
    appendJsonString(json, tarnmessage::messageTypeText(header.type));
    json += ",\"header\":[";
    appendJsonNumber(json, header.format);
    for (const std::uint32_t word : {header.length, header.recordSize, header.recordCount, header.type}) {
        json += ',';
        appendJsonNumber(json, word);
    }
    json += ']';
}

// One object for each message, with its records in an array.
class JsonPrinter : public Printer {
public:
    using Printer::Printer;

    void onNamespace(const tarnmessage::NamespaceView& block) override {
        startMember("namespaces");
        tarnnames::appendNamespaceJson(json_, block);
        finish("}");
    }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        startMember("records");
        tarnnames::appendRecordJson(json_, record, wordsOf(record), book());
        finish("}");
    }

protected:
    void startMessage(std::string_view bytes, const kernelmsg::MessageHeader& header, bool hasHeader) override {
        isOpen_ = true;
        startObject();
        json_ += ",\"bytes\":";
        appendJsonNumber(json_, bytes.size());
        if (hasHeader) {
            appendHeader(json_, header);
        }
        finish("");
    }
    void endMessage(const tarnmessage::FileReport& file, std::string_view /*bytes*/) override {
        if (!isOpen_) {
            startObject();
        }
        json_ += hasArray_ ? "]" : "";
        if (!file.sound()) {
            json_ += ',';
            appendProblemJson(json_, file);
        }
        finish("}");
        isOpen_ = false;
        hasArray_ = false;
    }

private:
    void startObject() {
        static_cast<void>(report().element(""));
        json_ += '{';
        tarnnames::appendJsonBytes(json_, "path", path());
    }
    void startMember(const char* array) {
        if (hasArray_) {
            json_ += ",\n{";
        } else {
            json_.append(",\"").append(array).append("\":[\n{");
            hasArray_ = true;
        }
    }
    void finish(const char* end) {
        json_ += end;
        write(json_);
        json_.clear();
    }

    std::string json_;
    bool isOpen_ = false;    // the object of a message
    bool hasArray_ = false;  // ... and its array
};

// One object a line: "message", then each "namespace" or "record" of it, then a "problem" where there is one.
class JsonLinesPrinter : public Printer {
public:
    using Printer::Printer;

    void onNamespace(const tarnmessage::NamespaceView& block) override {
        start("namespace");
        json_ += ',';
        tarnnames::appendNamespaceJson(json_, block);
        finish();
    }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        start("record");
        json_ += ',';
        tarnnames::appendRecordJson(json_, record, wordsOf(record), book());
        finish();
    }

protected:
    void startMessage(std::string_view bytes, const kernelmsg::MessageHeader& header, bool hasHeader) override {
        start("message");
        json_ += ",\"bytes\":";
        appendJsonNumber(json_, bytes.size());
        if (hasHeader) {
            appendHeader(json_, header);
        }
        finish();
    }
    void endMessage(const tarnmessage::FileReport& file, std::string_view /*bytes*/) override {
        if (!file.sound()) {
            start("problem");
            json_ += ',';
            appendProblemJson(json_, file);
            finish();
        }
    }

private:
    void start(const char* kind) {
        json_ = "{\"kind\":\"";
        json_.append(kind).append("\",");
        tarnnames::appendJsonBytes(json_, "path", path());
    }
    void finish() {
        json_ += "}\n";
        write(json_);
    }

    std::string json_;
};

}  // namespace

std::unique_ptr<Printer> makeJsonPrinter(Report& report, const tarnnames::NameBook& book, std::string folder) {
    return std::make_unique<JsonPrinter>(report, book, std::move(folder));
}

std::unique_ptr<Printer> makeJsonLinesPrinter(Report& report, const tarnnames::NameBook& book, std::string folder) {
    return std::make_unique<JsonLinesPrinter>(report, book, std::move(folder));
}
