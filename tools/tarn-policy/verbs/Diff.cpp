// diff: which rules were added, removed and changed between two sets.
#include <future>

#include "Failure.h"
#include "ReadStatus.h"
#include "Verb.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnpolicydoc/Text.h"
#include "libtarnrules/Difference.h"
#include "reading/DifferencePrinter.h"
#include "reading/Rules.h"

namespace {

using tarnrules::RuleSet;

class Diff : public ReadingVerb {
public:
    Diff() : ReadingVerb("diff") {}

    void configure(CLI::App& app) override {
        app.add_option("OLD", oldPath_, "Folder of a set, or a message file")->required();
        app.add_option("NEW", newPath_, "The same, to compare it with")->required();
        app.add_option("--etc", etcDirectory_, "Folder with the side files that the folders above OLD and NEW lack");
        app.add_option("--labels", labelTable_, "Label table with the names of identifiers");
        app.add_flag("--brief", brief_, "Only say how many rules differ");
    }

protected:
    ReadStatus look(Report& report) override {
        const tarnnames::Identifiers labels = readLabels();
        RuleSet before(oldPath_, etcDirectory_);
        RuleSet after(newPath_, etcDirectory_);
        before.alsoAskNamesOf(after);
        after.alsoAskNamesOf(before);
        readBoth(before, after);
        warnOf(before, report);
        warnOf(after, report);
        requireSound(before);
        requireSound(after);
        if (report.json() && !brief_) {
            report.openArray("differences");
        }
        DifferencePrinter printer(report, {before.book(), labels}, {after.book(), labels}, brief_);
        compareRules(before, after, printer);
        printer.finish();
        return printer.foundAny() ? ReadStatus::kNo : ReadStatus::kYes;
    }

private:
    tarnnames::Identifiers readLabels() const {
        tarnnames::Identifiers labels;
        std::string problem;
        if (!labelTable_.empty() && !labels.read(labelTable_, problem)) {
            throw Failure(ExitCode::kFailed, "read the label table", policydoc::printable(problem),
                          "name a table as docs/label-table.md describes it");
        }
        return labels;
    }

    // Side by side: neither writes anything that the other one reads.
    static void readBoth(RuleSet& before, RuleSet& after) {
        std::future<void> other = std::async(std::launch::async, [&before] { readRules(before); });
        readRules(after);
        other.get();
    }

    static void requireSound(const RuleSet& rules) {
        if (!rules.problems().empty()) {
            const std::string path = tarnmessage::escaped(rules.path());
            throw Failure(ExitCode::kFailed, "read the rules of " + path, problemsOf(rules),
                          "tarn-policy verify " + path);
        }
    }

    std::string oldPath_;
    std::string newPath_;
    std::string etcDirectory_;
    std::string labelTable_;
    bool brief_ = false;
};

}  // namespace

std::unique_ptr<Verb> makeDiff() {
    return std::make_unique<Diff>();
}
