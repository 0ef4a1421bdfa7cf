// query: the records of a subject, an object, a class and so on.
#include <string>
#include <utility>

#include "Failure.h"
#include "ReadStatus.h"
#include "Verb.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnmessage/SetWalk.h"
#include "libtarnnames/JsonText.h"
#include "libtarnnames/RecordJson.h"
#include "libtarnnames/RecordText.h"
#include "reading/Printer.h"
#include "reading/RecordFilter.h"
#include "reading/SetNames.h"

namespace {

enum class Form { kText, kJson, kJsonLines };

class Matches : public tarnmessage::WalkVisitor {
public:
    Matches(RecordFilter& filter, const tarnnames::NameBook& book, std::string folder, Form form, Report& report)
        : filter_(filter), words_(book), folder_(std::move(folder)), form_(form), report_(report) {}

    void onFile(const std::string& name, std::string_view /*bytes*/) override {
        words_.startFile(name);
        path_ = folder_ + name;
        number_ = 0;
    }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        const std::size_t number = number_++;
        if (!filter_.takes(record.node)) {
            return;
        }
        const tarnnames::RecordWords& words = words_.of(record.node);
        if (filter_.takesGroup(words)) {
            ++found;
            form_ == Form::kText ? showText(record, words, number) : showJson(record, words, number);
        }
    }
    void onFileEnd(const tarnmessage::FileReport& file) override {
        if (!file.sound()) {
            report_.warning(tarnmessage::escaped(folder_ + file.name) +
                            " was not searched to its end: " + whatStandsAgainst(file));
        }
    }
    bool goesOn() override { return isRead_; }

    std::uint64_t found = 0;

private:
    void showText(const tarnmessage::PolicyRecordView& record, const tarnnames::RecordWords& words,
                  std::size_t number) {
        text_ = tarnmessage::escaped(path_) + ": record " + std::to_string(number) + " at offset " +
                std::to_string(record.offset) + "\n";
        appendRecordText(text_, record, words, words_.book());
        isRead_ = report_.write(text_);
    }
    void showJson(const tarnmessage::PolicyRecordView& record, const tarnnames::RecordWords& words,
                  std::size_t number) {
        text_ = "{";
        tarnnames::appendJsonBytes(text_, "path", path_);
        text_ += ",\"record\":";
        tarnnames::appendJsonNumber(text_, number);
        text_ += ',';
        tarnnames::appendRecordJson(text_, record, words, words_.book());
        text_ += '}';
        isRead_ = form_ == Form::kJson ? report_.element(text_) : report_.write(text_ + "\n");
    }

    RecordFilter& filter_;
    tarnnames::RecordWordsCache words_;
    std::string folder_;
    Form form_;
    Report& report_;
    std::string path_;
    std::string text_;
    std::size_t number_ = 0;
    bool isRead_ = true;
};

// An empty text would ask for everything.
CLI::Validator notEmpty(const std::string& advice) {
    return CLI::Validator(
        [advice](const std::string& text) {
            return text.empty() ? "the value is empty: " + advice + ", or leave the option out" : "";
        },
        "");
}

class Query : public ReadingVerb {
public:
    Query() : ReadingVerb("query") {}

    void configure(CLI::App& app) override {
        app.add_option("PATH", path_, "Folder of a set, or a message file")->required();
        app.add_option("--subject", texts_.subject, "Name in the label table, or three words as in 0x1:0x2:0x3")
            ->check(notEmpty("give a name of the label table, or three words as in 0x1:0x2:0x3"));
        app.add_option("--object", texts_.object, "The same for the object")
            ->check(notEmpty("give a name of the label table, or three words as in 0x1:0x2:0x3"));
        app.add_option("--class", texts_.permClass, "Permission class, by name or number")
            ->check(notEmpty("give the name or the number of a permission class"));
        app.add_option("--perm", texts_.perm, "Permission, by name or number")
            ->check(notEmpty("give the name or the number of a permission"));
        app.add_option("--namespace", texts_.nameSpace, "Namespace, by name or number")
            ->check(notEmpty("give the name or the number of a namespace"));
        app.add_option("--group", texts_.group, "Group, by name; \"\" for records without a group");
        names_.declare(app);
        CLI::Option* lines = app.add_flag("--jsonl", lines_, "Print one JSON object for each record, one a line");
        if (CLI::Option* json = app.get_option_no_throw("--json")) {
            json->excludes(lines);
        }
    }

protected:
    ReadStatus look(Report& report) override {
        if (lines_) {
            report.withoutObject();
        } else if (report.json()) {
            report.openArray("records");
        }
        tarnnames::NameBook book;
        readNames(book, path_, names_, report);
        tarnmessage::SetWalk walk(path_);
        book.attach(&walk.functions());
        RecordFilter filter(texts_, book);
        const Form form = lines_ ? Form::kJsonLines : report.json() ? Form::kJson : Form::kText;
        Matches matches(filter, book, folderBefore(path_), form, report);
        const tarnmessage::WalkOutcome outcome = walk.run(matches);
        if (!outcome.problem.empty()) {
            throw Failure(ExitCode::kFailed, "read " + tarnmessage::escaped(path_), outcome.problem,
                          "name a folder with a set, or a message file, that you may read");
        }
        warnOfLinks(outcome, path_, report);
        if (outcome.unsound != 0) {
            return ReadStatus::kTrouble;
        }
        return matches.found != 0 ? ReadStatus::kYes : ReadStatus::kNo;
    }

private:
    std::string path_;
    FilterTexts texts_;
    NameOptions names_;
    bool lines_ = false;
};

}  // namespace

std::unique_ptr<Verb> makeQuery() {
    return std::make_unique<Query>();
}
