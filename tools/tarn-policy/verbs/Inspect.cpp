// inspect: what stands in a set or a message, record by record.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Failure.h"
#include "ReadStatus.h"
#include "Verb.h"
#include "reading/Printer.h"
#include "reading/SetNames.h"

namespace {

class Inspect : public ReadingVerb {
public:
    Inspect() : ReadingVerb("inspect") {}

    void configure(CLI::App& app) override {
        app.add_option("PATH", paths_, "Folders of a set, or message files")->required();
        names_.declare(app);
        CLI::Option* hex = app.add_flag("--hex", hex_, "Show the bytes beside their meaning, field by field");
        CLI::Option* lines =
            app.add_flag("--jsonl", lines_, "Print one JSON object for each message and record, one a line");
        lines->excludes(hex);
        if (CLI::Option* json = app.get_option_no_throw("--json")) {
            json->excludes(hex)->excludes(lines);
        }
    }

protected:
    ReadStatus look(Report& report) override {
        if (lines_) {
            report.withoutObject();
        } else if (report.json()) {
            report.openArray("messages");
        }
        ReadStatus status = ReadStatus::kYes;
        for (const std::string& path : paths_) {
            status = std::max(status, show(path, report));
        }
        return status;
    }

private:
    ReadStatus show(const std::string& path, Report& report) {
        tarnnames::NameBook book;
        readNames(book, path, names_, report);
        tarnmessage::SetWalk walk(path);
        book.attach(&walk.functions());
        const std::unique_ptr<Printer> printer = makePrinter(report, book, folderBefore(path));
        const tarnmessage::WalkOutcome outcome = walk.run(*printer);
        if (!outcome.problem.empty()) {
            report.failure(Failure(ExitCode::kFailed, "read " + tarnmessage::escaped(path), outcome.problem,
                                   "name a folder with a set, or a message file, that you may read"));
            return ReadStatus::kTrouble;
        }
        warnOfLinks(outcome, path, report);
        if (outcome.unreadable != 0) {
            return ReadStatus::kTrouble;
        }
        return outcome.unsound != 0 ? ReadStatus::kNo : ReadStatus::kYes;
    }

    std::unique_ptr<Printer> makePrinter(Report& report, const tarnnames::NameBook& book, std::string folder) const {
        if (hex_) {
            return makeHexPrinter(report, book, std::move(folder));
        }
        if (lines_) {
            return makeJsonLinesPrinter(report, book, std::move(folder));
        }
        return report.json() ? makeJsonPrinter(report, book, std::move(folder))
                             : makeTextPrinter(report, book, std::move(folder));
    }

    std::vector<std::string> paths_;
    NameOptions names_;
    bool hex_ = false;
    bool lines_ = false;
};

}  // namespace

std::unique_ptr<Verb> makeInspect() {
    return std::make_unique<Inspect>();
}
