// digest: one number for the rules of a set, to compare machines by.
#include "Failure.h"
#include "ReadStatus.h"
#include "Verb.h"
#include "libtarnmessage/MessageText.h"
#include "reading/Rules.h"

namespace {

class Digest : public ReadingVerb {
public:
    Digest() : ReadingVerb("digest") {}

    void configure(CLI::App& app) override {
        app.add_option("PATH", path_, "Folder of a set, or a message file")->required();
        app.add_option("--etc", etcDirectory_, "Folder with the side files that the folder above PATH lacks");
    }

protected:
    ReadStatus look(Report& report) override {
        tarnrules::RuleSet rules(path_, etcDirectory_);
        readRules(rules);
        warnOf(rules, report);
        if (!rules.problems().empty()) {
            const std::string path = tarnmessage::escaped(path_);
            report.failure(Failure(ExitCode::kFailed, "take the digest of " + path, problemsOf(rules),
                                   "tarn-policy verify " + path));
            return rules.unreadable() ? ReadStatus::kTrouble : ReadStatus::kNo;
        }
        const Json::UInt64 records = rules.count();
        const std::string digest = digestOf(rules);
        report.line(digest);
        report.fact("digest") = digest;
        report.fact("records") = records;
        return ReadStatus::kYes;
    }

private:
    std::string path_;
    std::string etcDirectory_;
};

}  // namespace

std::unique_ptr<Verb> makeDigest() {
    return std::make_unique<Digest>();
}
