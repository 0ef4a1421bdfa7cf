// check: what is wrong with a policy, and what a compilation of it would give.
#include "Preparation.h"
#include "Threads.h"
#include "Verb.h"
#include "libtarnpolicysync/Paths.h"

namespace {

class Check : public Verb {
public:
    void configure(CLI::App& app) override {
        app.add_option("POLICY", options_.policy, "The policy document (JSON)")->required();
        app.add_option("--classes", options_.classes, "Class definitions instead of those in /etc/tarn");
        app.add_option("--labels", options_.labels, "Label table to resolve names, instead of the label manager");
        app.add_flag("!--no-split", options_.split, "Leave rules under their keys; say where a message overflows");
        app.add_flag("--allow-empty", options_.allowEmpty, "Only warn about rules that give no record");
        app.add_option("--threads", options_.threads,
                       "Compiler threads to plan file names for (default: as configured)")
            ->check(CLI::Range(1U, kMostThreads));
    }

    ExitCode run(Report& report) override {
        if (options_.classes.empty()) {
            options_.classes = paths::kClassDefinitions;
        }
        if (options_.threads == 0) {
            options_.threads = libraryThreads();
        }
        Progress progress;
        static_cast<void>(prepare(options_, report, progress));
        report.line(options_.policy + ": no mistakes");
        return ExitCode::kDone;
    }

private:
    static constexpr unsigned int kMostThreads = 65535;  // the library keeps the number in 16 bits
    PreparationOptions options_{"", "", "", true, false, 0, {}};
};

}  // namespace

std::unique_ptr<Verb> makeCheck() {
    return std::make_unique<Check>();
}
