// verify: would the kernel take a set, and is there anything that it would not notice?
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "Common/Handles.h"
#include "Failure.h"
#include "ReadStatus.h"
#include "Verb.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnsort/SortFailure.h"
#include "reading/DuplicateSearch.h"
#include "reading/FindingLimit.h"
#include "reading/SetCheck.h"
#include "reading/SetNames.h"

namespace {

// The bytes of one record, from its file. False where they can't be read any more.
bool readAt(const std::string& path, const DuplicateSearch::Place& place, std::string& bytes) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    bytes.resize(place.length);
    return file.valid() && pread(file.get(), bytes.data(), bytes.size(), place.offset) == ssize_t{place.length};
}

// Collects the records of a walk.
class RecordCollector : public tarnmessage::WalkVisitor {
public:
    explicit RecordCollector(DuplicateSearch& search) : search_(search) {}

    void onFile(const std::string& name, std::string_view /*bytes*/) override { names.push_back(name); }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        search_.add(record.bytes, static_cast<std::uint32_t>(names.size() - 1),
                    static_cast<std::uint32_t>(record.offset));
    }

    std::vector<std::string> names;

private:
    DuplicateSearch& search_;
};

class Verify : public ReadingVerb {
public:
    Verify() : ReadingVerb("verify") {}

    void configure(CLI::App& app) override {
        app.add_option("PATH", path_, "Folder of a set, or a message file")->required();
        app.add_option("--etc", names_.etc, "Folder with the side files that the folder above PATH lacks");
        app.add_flag("!--no-duplicates", findsDuplicates_,
                     "Leave out the search for duplicate records, which reads twice");
        app.add_flag("!--copy", looksAtModes_, "The set is a copy: leave out modes and owners");
    }

protected:
    ReadStatus look(Report& report) override {
        if (report.json()) {
            report.openArray("findings");
        }
        tarnnames::NameBook book;
        readNames(book, path_, names_, report);
        tarnmessage::SetWalk walk(path_);
        book.attach(&walk.functions());
        struct stat status {};
        const bool isDirectory = stat(path_.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
        FindingLimit limit([&](const SetFinding& finding) { tell(finding, report); });
        SetCheck check(book, {folderBefore(path_), isDirectory, looksAtModes_}, limit);
        const tarnmessage::WalkOutcome outcome = walk.run(check);
        if (!outcome.problem.empty()) {
            throw Failure(ExitCode::kFailed, "read " + tarnmessage::escaped(path_), outcome.problem,
                          "name a folder with a set, or a message file, that you may read");
        }
        check.finish();
        limit.release();
        const std::uint64_t duplicates = findsDuplicates_ ? findDuplicates(outcome, limit) : 0;
        limit.release();
        sumUp(outcome, check, duplicates, report);
        if (check.unreadable() != 0) {
            return ReadStatus::kTrouble;
        }
        return check.refused() != 0 ? ReadStatus::kNo : ReadStatus::kYes;
    }

private:
    static void tell(const SetFinding& finding, Report& report) {
        if (report.json()) {
            static_cast<void>(report.element(toJson(finding)));
        } else {
            static_cast<void>(report.write(toText(finding) + "\n"));
        }
    }

    std::uint64_t findDuplicates(const tarnmessage::WalkOutcome& before, FindingLimit& limit) const {
        try {
            return searchAgain(before, limit);
        } catch (const tarnsort::SortFailure& failure) {
            throw Failure(ExitCode::kFailed, failure.tried(), failure.reason(),
                          "make room in the folder for temporary files, or give --no-duplicates");
        }
    }

    Failure changed(const std::string& path) const {
        return Failure(ExitCode::kFailed, "verify " + tarnmessage::escaped(path_),
                       tarnmessage::escaped(path) + " was changed while it was being read",
                       "run this again when nobody writes there, or on a copy");
    }

    std::uint64_t searchAgain(const tarnmessage::WalkOutcome& before, FindingLimit& limit) const {
        DuplicateSearch search;
        RecordCollector collector(search);
        const tarnmessage::WalkOutcome outcome = tarnmessage::SetWalk(path_).run(collector);
        if (!outcome.problem.empty() || outcome.files != before.files || outcome.unsound != before.unsound ||
            outcome.records != before.records) {
            throw changed(path_);
        }
        const std::string folder = folderBefore(path_);
        const auto pathOf = [&](const DuplicateSearch::Place& place) { return folder + collector.names[place.file]; };
        std::uint64_t found = 0;
        try {
            search.finish([&](const DuplicateSearch::Place& place,
                              std::string& bytes) { return readAt(pathOf(place), place, bytes); },
                          [&](const DuplicateSearch::Place& first, const DuplicateSearch::Place& again) {
                              ++found;
                              limit.add({Weight::kNotice, "duplicate-record", pathOf(again), again.offset,
                                         "the same record stands in " + tarnmessage::escaped(pathOf(first)) +
                                             " at offset " + std::to_string(first.offset),
                                         "one of them", 0});
                          });
        } catch (const DuplicateSearch::Changed& change) {
            throw changed(pathOf(change.place));
        }
        return found;
    }

    void sumUp(const tarnmessage::WalkOutcome& outcome, const SetCheck& check, std::uint64_t duplicates,
               Report& report) const {
        const std::uint64_t notices = check.notices() + duplicates;
        report.fact("files") = Json::UInt64{outcome.files};
        report.fact("records") = Json::UInt64{outcome.records};
        report.fact("bytes") = Json::UInt64{check.bytes()};
        report.fact("refused") = Json::UInt64{check.refused()};
        report.fact("unreadable") = Json::UInt64{check.unreadable()};
        report.fact("notices") = Json::UInt64{notices};
        report.line(tarnmessage::escaped(path_) + ": " + counted(outcome.files, "message", "messages") + ", " +
                    counted(outcome.records, "record", "records") + ", " + counted(check.bytes(), "byte", "bytes") +
                    ": " + verdict(check) + (notices == 0 ? "" : ", " + counted(notices, "notice", "notices")));
    }

    static std::string verdict(const SetCheck& check) {
        if (check.unreadable() != 0) {
            return counted(check.unreadable(), "file", "files") + " could not be read";
        }
        return check.refused() != 0 ? "would be refused, " + counted(check.refused(), "reason", "reasons")
                                    : "the kernel would take it";
    }

    std::string path_;
    NameOptions names_;
    bool findsDuplicates_ = true;
    bool looksAtModes_ = true;
};

}  // namespace

std::unique_ptr<Verb> makeVerify() {
    return std::make_unique<Verify>();
}
