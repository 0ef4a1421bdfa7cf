// Any bytes as the messages of a set: every rule that they hold must say the same after its canonical form, and whatever
// prints it must print what can be read again. The messages are the bytes themselves, cut by the length in each header.
#include <json/reader.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Output.h"
#include "Report.h"
#include "libtarnmessage/MessageReader.h"
#include "libtarnrules/CanonicalForm.h"
#include "libtarnrules/RebuiltRecord.h"
#include "reading/Printer.h"
#include "reading/RuleText.h"
#include "support/Golden.h"

namespace {

using namespace tarnmessage;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void requireJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    std::istringstream stream(text);
    Json::Value value;
    std::string errors;
    require(Json::parseFromStream(builder, stream, &value, &errors) && value.isObject());
}

// The tool's output, in memory.
class Printed {
public:
    Printed() : file_(memfd_create("printed", MFD_CLOEXEC)) {
        require(file_ >= 0 && dup2(file_, STDOUT_FILENO) == STDOUT_FILENO);
        output_ = std::make_unique<Output>();
    }
    Output& output() { return *output_; }
    std::string take() const {
        std::string text(static_cast<std::size_t>(lseek(file_, 0, SEEK_CUR)), '\0');
        require(pread(file_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
        require(ftruncate(file_, 0) == 0 && lseek(file_, 0, SEEK_SET) == 0);
        return text;
    }

private:
    int file_;
    std::unique_ptr<Output> output_;
};

struct Set {
    std::vector<std::string_view> messages;
    FunctionTable functions;
    tarnnames::NameBook book;
};

class Announcements : public MessageVisitor {
public:
    explicit Announcements(FunctionTable& functions) : functions_(functions) {}
    void onNamespace(const NamespaceView& block) override { functions_.add(block); }

private:
    FunctionTable& functions_;
};

// What the rebuilt record calls, under the names of its namespace.
FunctionTable functionsOf(const tarnrules::RebuiltRecord& rebuilt) {
    const std::uint32_t number = rebuilt.view().nameId();
    std::vector<std::string> functions;
    while (const std::string* name =
               rebuilt.functions().findFunction(number, static_cast<std::uint32_t>(functions.size() + 1))) {
        functions.push_back(*name);
    }
    FunctionTable table;
    for (const std::string& name : rebuilt.namespaceNames()) {
        table.add(number, {name, functions});
    }
    return table;
}

class Rules : public MessageVisitor {
public:
    explicit Rules(const Set& set) : set_(set) {}

    void onPolicy(const PolicyRecordView& record) override {
        tarnrules::RuleNames names(set_.book, set_.functions);
        std::string form;
        if (!writeForm(form, record, names)) {
            require(form.size() > tarnrules::kMostFormBytes);
            return;
        }
        std::string key;
        std::string formOfKey;
        require(writeKey(key, record, names));
        writeFormOfKey(formOfKey, key, names);
        require(formOfKey == form);
        const std::string_view identity = tarnrules::identityOf(form);
        require(!identity.empty() && form.compare(0, identity.size(), identity) == 0);
        const tarnrules::RebuiltRecord rebuilt(form);
        compareNodes(record, rebuilt);
        if (names.namelessNamespaces().empty() && names.namelessFunctions().empty()) {
            requireSameForm(form, rebuilt);
        }
        print(rebuilt);
    }

private:
    static void compareNodes(const PolicyRecordView& record, const tarnrules::RebuiltRecord& rebuilt) {
        const kernelmsg::PolicyNodeRecord& left = record.node;
        const kernelmsg::PolicyNodeRecord& right = rebuilt.view().node;
        require(left.policyType == right.policyType && left.permClass == right.permClass && left.perm == right.perm);
        require(left.attrA == right.attrA && left.attrB == right.attrB);
        require(left.exprCount == right.exprCount && left.actionCount == right.actionCount);
        require(!rebuilt.namespaceNames().empty() || left.ext[1] == right.ext[1]);
    }
    static void requireSameForm(const std::string& form, const tarnrules::RebuiltRecord& rebuilt) {
        const FunctionTable functions = functionsOf(rebuilt);
        tarnnames::NameBook book;
        book.attach(&functions);
        tarnrules::RuleNames names(book, functions);
        std::string again;
        require(writeForm(again, rebuilt.view(), names) && again == form);
    }
    void print(const tarnrules::RebuiltRecord& rebuilt) const {
        const RuleWords words{set_.book, set_.book.identifiers()};
        for (const std::string& text : {identityText(rebuilt, words), contentText(rebuilt)}) {
            require(!text.empty() && text.find('\n') == std::string::npos);
        }
        requireJson("{" + identityJson(rebuilt, words) + "," + contentJson(rebuilt) + "}");
    }

    const Set& set_;
};

using MakePrinter = std::unique_ptr<Printer> (*)(Report&, const tarnnames::NameBook&, std::string);

std::string printedBy(MakePrinter make, bool json, const Set& set, std::string_view message) {
    static Printed printed;
    Report report(printed.output(), "inspect", json);
    if (json) {
        report.openArray("messages");
    }
    const std::unique_ptr<Printer> printer = make(report, set.book, "");
    FileReport file;
    file.name = "base_0_net_g_0";
    file.bytes = message.size();
    printer->onFile(file.name, message);
    file.finding = readHeader(message, file.header);
    if (!file.finding) {
        file.finding = parseMessage(message, {}, *printer);
    }
    printer->onFileEnd(file);
    require(report.finish(ExitCode::kDone, "shown"));
    return printed.take();
}

void print(const Set& set, std::string_view message) {
    require(!printedBy(makeTextPrinter, false, set, message).empty());
    requireJson(printedBy(makeJsonPrinter, true, set, message));
    std::istringstream lines(printedBy(makeJsonLinesPrinter, false, set, message));
    for (std::string line; std::getline(lines, line);) {
        requireJson(line);
    }
    require(golden::bytesOf(printedBy(makeHexPrinter, false, set, message)) == message);
}

std::size_t lengthOfFirst(std::string_view bytes) {
    kernelmsg::MessageHeader header{};
    const bool framed = ByteCursor(bytes, 0, bytes.size()).take(header) && header.length >= sizeof(header);
    return framed && header.length < bytes.size() ? header.length : bytes.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Set set;
    Announcements announcements(set.functions);
    for (std::string_view bytes(reinterpret_cast<const char*>(data), size); !bytes.empty();) {
        set.messages.push_back(bytes.substr(0, lengthOfFirst(bytes)));
        static_cast<void>(parseMessage(set.messages.back(), {}, announcements));
        bytes.remove_prefix(set.messages.back().size());
    }
    set.book.attach(&set.functions);
    Rules rules(set);
    for (const std::string_view message : set.messages) {
        static_cast<void>(parseMessage(message, {}, rules));
        print(set, message);
    }
    return 0;
}
