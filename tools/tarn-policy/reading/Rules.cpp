#include "reading/Rules.h"

#include <exception>

#include "Failure.h"
#include "libtarnmessage/MessageText.h"

void readRules(tarnrules::RuleSet& rules) {
    try {
        rules.read();
    } catch (const tarnsort::SortFailure& failure) {
        throw Failure(ExitCode::kFailed, failure.tried(), failure.reason(), failure.advice());
    }
}

void warnOf(const tarnrules::RuleSet& rules, Report& report) {
    for (const std::string& warning : rules.warnings()) {
        report.warning(tarnmessage::escaped(rules.path()) + ": " + warning);
    }
}

std::string problemsOf(const tarnrules::RuleSet& rules) {
    constexpr std::size_t kMost = 10;
    std::string text;
    for (const std::string& problem : rules.problems()) {
        if (&problem - rules.problems().data() == kMost) {
            return text + "\n  and " + std::to_string(rules.problems().size() - kMost) + " more";
        }
        text += (text.empty() ? "" : "\n  ") + problem;
    }
    return text;
}

void reportDigestOf(const std::string& path, Report& report) {
    std::string problem;
    try {
        tarnrules::RuleSet rules(path, "");
        readRules(rules);
        warnOf(rules, report);
        problem = problemsOf(rules);
        if (problem.empty()) {
            const std::string digest = digestOf(rules);
            report.line("digest: " + digest);
            report.fact("digest") = digest;
        }
    } catch (const std::exception& error) {
        problem = error.what();
    }
    if (!problem.empty()) {
        report.warning("no digest of " + tarnmessage::escaped(path) + ": " + problem);
    }
}
