// tarn-policy: the command-line host. It uses what any host can use: the public members of the manager and the free
// functions.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <string>

#include "ExitCodes.h"
#include "Failure.h"
#include "Output.h"
#include "Report.h"
#include "Verb.h"

namespace {

struct ChosenVerb {
    CLI::App* app = nullptr;
    std::unique_ptr<Verb> verb;
    std::string name;
    bool json = false;
};

class CommandLine {
public:
    CommandLine() : app_("Compiles access-control policies and delivers them to the kernel module.", "tarn-policy") {
        app_.set_version_flag("--version", std::string("tarn-policy ") + TARN_POLICY_VERSION);
        app_.require_subcommand(1);
        app_.footer("\n" + exitCodeHelp() + "\nMore: man tarn-policy, docs/tarn-policy.md");
        for (const VerbEntry& entry : verbTable()) {
            addVerb(entry);
        }
    }

    // The verb of the command line. Throws CLI::ParseError.
    ChosenVerb& parse(int argc, char** argv) {
        app_.parse(argc, argv);
        for (const auto& chosen : verbs_) {
            if (chosen->app->parsed()) {
                return *chosen;
            }
        }
        throw CLI::RequiredError("a verb");
    }

    // What --help and --version print; empty for a mistake.
    std::string answer(const CLI::ParseError& error) const {
        if (error.get_exit_code() != 0) {
            return "";
        }
        std::ostringstream text;
        std::ostringstream unused;
        static_cast<void>(app_.exit(error, text, unused));
        return text.str();
    }

private:
    void addVerb(const VerbEntry& entry) {
        auto chosen = std::make_unique<ChosenVerb>();
        CLI::App* parent = &app_;
        const std::string parentName = entry.parent;
        if (!parentName.empty()) {
            const auto [place, isNew] = parents_.try_emplace(parentName, nullptr);
            if (isNew) {
                place->second = app_.add_subcommand(parentName, "List, switch or forget dynamic variables");
                place->second->require_subcommand(1);
            }
            parent = place->second;
        }
        chosen->name = parentName.empty() ? entry.name : parentName + " " + entry.name;
        chosen->app = parent->add_subcommand(entry.name, entry.summary);
        chosen->app->add_flag("--json", chosen->json, "Print one JSON object on standard output instead of text");
        chosen->verb = entry.make();
        chosen->verb->configure(*chosen->app);
        verbs_.push_back(std::move(chosen));
    }

    CLI::App app_;
    std::map<std::string, CLI::App*> parents_;
    std::vector<std::unique_ptr<ChosenVerb>> verbs_;
};

Failure unexpected(const std::string& verb, const std::string& what) {
    return Failure(ExitCode::kInternal, "finish " + verb, "unexpected error: " + what,
                   "look at /etc/tarn and the log /var/log/tarn-policy.log before you go on, and report this");
}

ExitCode reportFailure(const ChosenVerb& chosen, const Failure& failure, Report& report) {
    const std::string wayBack = chosen.verb->wayBack();
    report.failure(wayBack.empty() ? failure : failure.withAdvice(wayBack));
    return chosen.verb->failed(failure.code());
}

ExitCode runVerb(ChosenVerb& chosen, Output& output) {
    Report report(output, chosen.name, chosen.json);
    ExitCode code = ExitCode::kDone;
    try {
        code = chosen.verb->run(report);
    } catch (const Failure& failure) {
        code = reportFailure(chosen, failure, report);
    } catch (const std::bad_alloc&) {
        code = reportFailure(chosen,
                             Failure(ExitCode::kFailed, "finish " + chosen.name, "this machine is out of memory",
                                     "free memory, then run this again"),
                             report);
    } catch (const std::exception& error) {
        code = reportFailure(chosen, unexpected(chosen.name, error.what()), report);
    } catch (...) {
        code = reportFailure(chosen, unexpected(chosen.name, "of an unknown kind"), report);
    }
    if (report.finish(code, chosen.verb->statusName(code))) {
        return code;
    }
    // An answer that nobody got is none; a failure stays what it is.
    return code == ExitCode::kDone ? chosen.verb->failed(ExitCode::kFailed) : chosen.verb->failed(code);
}

bool isJsonFlag(const char* word) {
    return std::strcmp(word, "--json") == 0;
}

// A program that asked for an object gets one, also for a command line that could not be understood.
ExitCode refuseCommandLine(const CLI::ParseError& error, bool json, Output& output) {
    Report report(output, "", json);
    report.failure(Failure(ExitCode::kUsage, "understand the command line", error.what(), "tarn-policy --help"));
    return report.finish(ExitCode::kUsage, exitCodeName(ExitCode::kUsage)) ? ExitCode::kUsage : ExitCode::kFailed;
}

ExitCode run(int argc, char** argv) {
    Output output;
    CommandLine line;
    try {
        return runVerb(line.parse(argc, argv), output);
    } catch (const CLI::ParseError& error) {
        const std::string answer = line.answer(error);
        if (!answer.empty()) {
            output.write(answer);
            return output.error() == 0 ? ExitCode::kDone : ExitCode::kFailed;
        }
        return refuseCommandLine(error, std::any_of(argv, argv + argc, isJsonFlag), output);
    }
}

}  // namespace

int main(int argc, char** argv) {
    // A reader of the output that goes away must not end a delivery half way.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    try {
        return static_cast<int>(run(argc, argv));
    } catch (const Failure& failure) {
        static_cast<void>(std::fprintf(stderr, "tarn-policy: %s\n", failure.what()));
        return static_cast<int>(failure.code());
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "tarn-policy: unexpected error: %s\n", error.what()));
    } catch (...) {
        static_cast<void>(std::fputs("tarn-policy: unexpected error of an unknown kind\n", stderr));
    }
    return static_cast<int>(ExitCode::kInternal);
}
