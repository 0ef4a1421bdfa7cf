// stat: how many records of what stand where, and how full the messages are.
#include <string>
#include <utility>

#include "Failure.h"
#include "ReadStatus.h"
#include "Verb.h"
#include "libtarnmessage/MessageText.h"
#include "reading/CountsText.h"
#include "reading/PageFile.h"
#include "reading/Printer.h"
#include "reading/SetNames.h"

namespace {

// Tells what is not in the counts.
class ReportingCounts : public SetCounts {
public:
    ReportingCounts(const tarnnames::NameBook& book, std::string folder, Report& report)
        : SetCounts(book), folder_(std::move(folder)), report_(report) {}

    void onFileEnd(const tarnmessage::FileReport& file) override {
        SetCounts::onFileEnd(file);
        if (!file.sound()) {
            report_.warning(tarnmessage::escaped(folder_ + file.name) +
                            " is not counted to its end: " + whatStandsAgainst(file));
        }
    }

private:
    std::string folder_;
    Report& report_;
};

class Stat : public ReadingVerb {
public:
    Stat() : ReadingVerb("stat") {}

    void configure(CLI::App& app) override {
        app.add_option("PATH", path_, "Folder of a set, or a message file")->required();
        app.add_option("--etc", names_.etc, "Folder with the side files that the folder above PATH lacks");
        app.add_option("--html", html_, "Write one page with charts and a table that can be searched to this file");
    }

protected:
    ReadStatus look(Report& report) override {
        tarnnames::NameBook book;
        readNames(book, path_, names_, report);
        tarnmessage::SetWalk walk(path_);
        book.attach(&walk.functions());
        ReportingCounts counts(book, folderBefore(path_), report);
        const tarnmessage::WalkOutcome outcome = walk.run(counts);
        if (!outcome.problem.empty()) {
            throw Failure(ExitCode::kFailed, "read " + tarnmessage::escaped(path_), outcome.problem,
                          "name a folder with a set, or a message file, that you may read");
        }
        warnOfLinks(outcome, path_, report);
        if (!html_.empty()) {
            writePage(html_, countsHtml(counts, tarnmessage::quoted(path_)));
        }
        show(counts, report);
        if (outcome.unreadable != 0) {
            return ReadStatus::kTrouble;
        }
        return outcome.unsound != 0 ? ReadStatus::kNo : ReadStatus::kYes;
    }

private:
    void show(const SetCounts& counts, Report& report) const {
        report.fact("files") = Json::UInt64{counts.files().size()};
        report.fact("records") = Json::UInt64{counts.records()};
        report.fact("bytes") = Json::UInt64{counts.bytes()};
        report.fact("counts") = countsJson(counts);
        if (!report.json()) {
            constexpr std::size_t kMostLines = 20;
            static_cast<void>(
                report.write(tarnmessage::escaped(path_) + ": " + counted(counts.files().size(), "file", "files") +
                             ", " + counted(counts.records(), "record", "records") + ", " +
                             counted(counts.bytes(), "byte", "bytes") + "\n" + countsText(counts, kMostLines)));
        }
    }

    std::string path_;
    NameOptions names_;
    std::string html_;
};

}  // namespace

std::unique_ptr<Verb> makeStat() {
    return std::make_unique<Stat>();
}
