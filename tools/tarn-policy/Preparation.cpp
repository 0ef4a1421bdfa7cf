#include "Preparation.h"

#include <optional>
#include <utility>

#include "Failure.h"
#include "libtarnpolicydoc/Check.h"
#include "libtarnpolicydoc/Load.h"
#include "libtarnpolicysync/Paths.h"

namespace {

using policydoc::Diagnostics;

std::string number(std::uint64_t count, const std::string& one, const std::string& many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

// Whatever was found so far stands before the failure, on one run's list.
void reportDiagnostics(const Diagnostics& diagnostics, Report& report) {
    report.fact("diagnostics") = policydoc::toJson(diagnostics);
    report.fact("diagnosticsOmitted") = static_cast<Json::UInt64>(diagnostics.omitted());
    if (!diagnostics.all().empty()) {
        std::string text = policydoc::toText(diagnostics);
        text.erase(text.find_last_not_of('\n') + 1);
        report.words(text);
    }
}

std::uint64_t kibibytes(std::uint64_t bytes) {
    constexpr std::uint64_t kKibibyte = 1024;
    return (bytes + kKibibyte - 1) / kKibibyte;
}

// Counts the rules as well.
std::optional<policydoc::PolicyDocument> readAndCheck(const PreparationOptions& options, Progress& progress,
                                                      Diagnostics& diagnostics, std::uint64_t& rules) {
    progress.stage("reading", "KiB", 0);
    std::optional<policydoc::PolicyDocument> document = policydoc::load(options.policy, diagnostics);
    const std::optional<Json::Value> classes = policydoc::readClasses(options.classes, diagnostics);
    if (document) {
        policydoc::CheckContext context;
        context.classes = classes ? &*classes : nullptr;
        context.pinnedNumbers = policydoc::readPinnedNumbers(paths::kSceneInfo, diagnostics);
        context.threads = options.threads;
        progress.stage("reading", "KiB", kibibytes(policydoc::sizeOfFiles(*document)));
        context.progress = [&](std::uint64_t count, std::uint64_t bytes) {
            rules = count;
            progress.done(kibibytes(bytes));
        };
        static_cast<void>(policydoc::check(*document, context, diagnostics));  // what it can't read it reports
    }
    return document;
}

std::optional<policydoc::Labels> resolveNames(const PreparationOptions& options,
                                              const policydoc::PolicyDocument& document, Progress& progress,
                                              Diagnostics& diagnostics) {
    const std::size_t names = document.labelledNames.size() + document.devices.size() + document.modules.size();
    progress.stage("resolving", "names", names);
    std::optional<policydoc::Labels> labels;
    if (options.labels.empty()) {
        labels = policydoc::askLabelManager(document, diagnostics);
    } else if (const auto table = policydoc::readLabelTable(options.labels, diagnostics)) {
        labels = policydoc::restrictTo(*table, document);
    }
    progress.done(names);
    return labels;
}

void reportPlan(const Preparation& prepared, Report& report) {
    const policydoc::Plan& plan = prepared.plan;
    Json::Value& fact = report.fact("plan");
    fact["rules"] = static_cast<Json::UInt64>(plan.rules.size());
    fact["records"] = static_cast<Json::UInt64>(plan.records);
    fact["bytes"] = static_cast<Json::UInt64>(plan.bytes);
    fact["namespaceMessageBytes"] = static_cast<Json::UInt64>(plan.namespaceMessageBytes);
    fact["dividedRules"] = static_cast<Json::UInt64>(plan.dividedRules.size());
    fact["keys"] = Json::Value(Json::arrayValue);
    for (const policydoc::PlannedKey& key : plan.keys) {
        Json::Value& entry = fact["keys"].append(Json::Value(Json::objectValue));
        entry["key"] = key.key;
        entry["group"] = prepared.document.groups[key.group].key;
        entry["rules"] = static_cast<Json::UInt64>(key.rules.size());
    }
    fact["files"] = Json::Value(Json::arrayValue);
    for (const policydoc::PlannedFile& file : plan.files) {
        Json::Value& entry = fact["files"].append(Json::Value(Json::objectValue));
        entry["name"] = file.name;
        entry["records"] = static_cast<Json::UInt64>(file.records);
        entry["bytes"] = static_cast<Json::UInt64>(file.bytes);
    }
    report.line("planned: " + number(plan.rules.size(), "rule", "rules") + ", " +
                number(plan.records, "record", "records") + " in " + number(plan.files.size(), "message", "messages") +
                " of " + number(plan.bytes, "byte", "bytes"));
    if (!prepared.section && plan.keys.size() > prepared.document.groups.size()) {
        report.line("spread: " + number(prepared.document.groups.size(), "group", "groups") + " over " +
                    number(plan.keys.size(), "key", "keys") + ", so that no message outgrows 1 MiB");
    }
}

std::string whyEmpty(const policydoc::RuleOutcome& rule) {
    if (rule.subjects == 0 && rule.objects == 0) {
        return "neither its subjects nor its objects have an identifier";
    }
    return rule.subjects == 0 ? "none of its subjects has an identifier" : "none of its objects has an identifier";
}

// No rule vanishes without a word: one without identifiers on a side compiles to nothing at all.
void reportEmptyRules(const Preparation& prepared, const PreparationOptions& options, Report& report) {
    Json::Value& fact = report.fact("emptyRules");
    fact = Json::Value(Json::arrayValue);
    for (const std::uint32_t index : prepared.plan.withoutRecords) {
        const policydoc::RuleOutcome& rule = prepared.plan.rules[index];
        const std::string name = policydoc::ruleName(prepared.document, rule);
        Json::Value& entry = fact.append(Json::Value(Json::objectValue));
        entry["rule"] = name;
        entry["subjects"] = rule.subjects;
        entry["objects"] = rule.objects;
        const std::string text = name + ": the rule gives no record: " + whyEmpty(rule);
        if (options.allowEmpty) {
            report.warning(text);
        } else {
            report.words(text);
        }
    }
    if (!options.allowEmpty && !prepared.plan.withoutRecords.empty()) {
        throw Failure(ExitCode::kEmptyRules, "take " + options.policy + " as it stands",
                      number(prepared.plan.withoutRecords.size(), "rule gives", "rules give") + " no record",
                      "label the names, correct the rules, or give --allow-empty");
    }
}

[[noreturn]] void failWith(const Diagnostics& diagnostics, const PreparationOptions& options) {
    const bool section = options.section && diagnostics.has("message-size");
    throw Failure(ExitCode::kMistakes, "accept " + options.policy,
                  "it has " + number(diagnostics.mistakes(), "mistake", "mistakes"),
                  section ? "the section is too large to be compiled by itself: tarn-policy apply " + options.policy
                          : "correct what is listed, then run tarn-policy check again");
}

}  // namespace

Preparation prepare(const PreparationOptions& options, Report& report, Progress& progress) {
    Diagnostics diagnostics;
    std::uint64_t rules = 0;
    std::optional<policydoc::PolicyDocument> document = readAndCheck(options, progress, diagnostics, rules);
    const bool sound = diagnostics.mistakes() == 0;
    std::optional<policydoc::Labels> labels;
    if (document) {
        labels = resolveNames(options, *document, progress, diagnostics);
    }
    if (document && labels) {
        policydoc::checkLabels(*document, *labels, diagnostics);
    }
    std::optional<policydoc::Plan> plan;
    if (sound && document && labels) {
        policydoc::PlanOptions planOptions;
        planOptions.threads = options.threads;
        planOptions.split = options.split;
        planOptions.section = options.section;
        progress.stage("planning", "rules", options.section ? 0 : rules);  // those of a section are not counted yet
        planOptions.progress = [&progress](std::uint64_t count) { progress.done(count); };
        plan = policydoc::makePlan(*document, *labels, planOptions, diagnostics);
    }
    progress.end();
    reportDiagnostics(diagnostics, report);
    if (sound && document && !labels) {
        throw Failure(ExitCode::kLabels, "resolve the names of " + options.policy,
                      options.labels.empty() ? "the label manager gave no answer" : options.labels + " cannot be used",
                      options.labels.empty()
                          ? "correct the label manager's table; check takes another one with --labels"
                          : "correct the label table");
    }
    if (!plan) {
        failWith(diagnostics, options);
    }
    Preparation prepared{std::move(*document), std::move(*labels), std::move(*plan), options.section};
    reportPlan(prepared, report);
    reportEmptyRules(prepared, options, report);
    return prepared;
}
