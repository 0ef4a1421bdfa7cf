#include "libtarnrules/RuleSet.h"

#include <utility>

#include "libtarnmessage/MessageText.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnrules/CanonicalForm.h"
#include "libtarnrules/FormBytes.h"
#include "libtarnrules/Sha256.h"

namespace tarnrules {

namespace {

using tarnmessage::escaped;
using tarnmessage::FileReport;

// Goes no further than the namespace message, which is the second of a set.
class UpToNamespaces : public tarnmessage::WalkVisitor {
public:
    void onFileEnd(const FileReport& report) override { isOver_ = isOver_ || report.name != paths::kBeginName; }
    bool goesOn() override { return !isOver_; }

private:
    bool isOver_ = false;
};

bool isMissingFrame(const FileReport& report) {
    return report.missing && paths::isFrameMessage(report.name);
}

}  // namespace

class RuleSet::Collector : public tarnmessage::WalkVisitor {
public:
    explicit Collector(RuleSet& set) : set_(set) {}

    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        ++records_;
        if (!set_.problems_.empty()) {
            return;  // what comes now is judged, but no longer kept
        }
        if (writeKey(key_, record, set_.names_)) {
            set_.sort_->add(key_);
        } else if (tooLong_.empty()) {
            tooLong_ = "record " + std::to_string(records_ - 1) + " at offset " + std::to_string(record.offset);
        }
    }

    void onFileEnd(const FileReport& report) override {
        if (isMissingFrame(report)) {
            set_.warnings_.push_back(report.name + " " + report.problem);
        } else if (!report.sound()) {
            set_.problems_.push_back(escaped(report.name) + ": " +
                                     (report.finding ? toText(*report.finding) : report.problem));
            set_.unreadable_ = set_.unreadable_ || report.error != 0;
        } else if (!tooLong_.empty()) {
            set_.problems_.push_back(escaped(report.name) + ": " + tooLong_ +
                                     " is a rule of more than 16 MiB with its names written out; give its namespace "
                                     "and its functions fewer or shorter names");
        }
        tooLong_.clear();
        records_ = 0;
    }

private:
    RuleSet& set_;
    std::string key_;
    std::uint64_t records_ = 0;  // of this file
    std::string tooLong_;        // the first one of this file
};

RuleSet::RuleSet(std::string path, const std::string& etcDirectory)
    : path_(std::move(path)), announcements_(path_), names_(book_, announcements_.functions()) {
    book_.readSideFiles(path_, etcDirectory, warnings_);
    book_.attach(&announcements_.functions());
    UpToNamespaces visitor;
    static_cast<void>(announcements_.run(visitor));
}

void RuleSet::read(const tarnsort::SortLimits& limits) {
    sort_ = std::make_unique<tarnsort::ExternalSort>(limits);
    Collector collector(*this);
    tarnmessage::SetWalk walk(path_);
    const tarnmessage::WalkOutcome outcome = walk.run(collector);
    if (!outcome.problem.empty()) {
        problems_.push_back(outcome.problem);
        unreadable_ = true;
    } else if (!(walk.functions() == announcements_.functions())) {
        problems_.push_back(std::string(paths::kNamespaceName) + ": was changed while the set was being read");
        unreadable_ = true;
    }
    if (outcome.links != 0) {
        warnings_.push_back(outcome.linkWarning());
    }
    if (problems_.empty()) {
        sort_->finish();
    } else {
        sort_.reset();
    }
}

bool RuleSet::next(std::string_view& form) {
    std::string_view key;
    if (!sort_->next(key)) {
        return false;
    }
    form = key;
    if (!names_.longForms().empty()) {
        writeFormOfKey(form_, key, names_);
        form = form_;
    }
    return true;
}

std::vector<std::string> RuleSet::warnings() const {
    std::vector<std::string> all = warnings_;
    for (const std::uint32_t number : names_.namelessNamespaces()) {
        all.push_back("namespace " + std::to_string(number) + " has no known name; its number stands in place of it");
    }
    for (const auto& [nameSpace, function] : names_.namelessFunctions()) {
        all.push_back("function " + std::to_string(function) + " of namespace " + std::to_string(nameSpace) +
                      " has no known name; its number stands in place of it");
    }
    if (names_.hasMoreNameless()) {
        all.emplace_back("more namespaces or functions have no known name; their numbers stand in place of them");
    }
    return all;
}

std::string digestOf(RuleSet& rules) {
    Sha256 digest;
    digest.add("tarn rules 1\n");
    std::string length;
    for (std::string_view form; rules.next(form);) {
        length.clear();
        append32(length, static_cast<std::uint32_t>(form.size()));
        digest.add(length);
        digest.add(form);
    }
    return digest.hex();
}

}  // namespace tarnrules
