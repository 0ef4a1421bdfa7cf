#include "AfterDelivery.h"

#include "Files.h"
#include "libtarnpolicysync/Paths.h"

namespace {

void append(std::vector<std::string>& list, const std::vector<std::string>& more) {
    list.insert(list.end(), more.begin(), more.end());
}

void reportEach(const char* word, const std::vector<Variable>& variables, Report& report) {
    for (const Variable& variable : variables) {
        report.line(std::string(word) + " " + toText(variable));
    }
}

void reportAndThrow(const std::vector<std::string>& failed, Report& report) {
    Json::Value& fact = report.fact("variablesFailed");
    fact = Json::Value(Json::arrayValue);
    for (const std::string& text : failed) {
        fact.append(text);
        report.words("  " + text);
    }
    if (!failed.empty()) {
        throw Failure(ExitCode::kVariables, "settle all dynamic variables after the delivery",
                      std::to_string(failed.size()) + " failed, first " + failed.front() +
                          "\n  now: the kernel holds the whole set",
                      "set them with tarn-policy var set");
    }
}

}  // namespace

std::vector<Variable> variablesBeforeDelivery(Report& report) {
    const SavedVariables saved = readSavedVariables();
    warnOfUnreadable(saved, report);
    return saved.variables;
}

void settleDroppedVariables(PolicyModuleManagerInterface& manager, const VariableSettlement& settlement,
                            Report& report) {
    std::vector<std::string> failed;
    if (fileExists(paths::kDynamicInfo)) {
        failed.push_back(std::string(paths::kDynamicInfo) +
                         " could not be removed: the dropped variables come back at the next start");
    }
    report.fact("droppedVariables") = toJson(settlement.saved);
    reportEach("dropped", settlement.saved, report);
    if (settlement.keep) {
        append(failed, setVariables(manager, settlement.saved));
        reportEach("set again", settlement.saved, report);
    }
    append(failed, setVariables(manager, settlement.wanted));
    reportEach("set", settlement.wanted, report);
    report.fact("variables") = toJson(readSavedVariables().variables);
    reportAndThrow(failed, report);
}

void settleReplayedVariables(PolicyModuleManagerInterface& manager, const VariableSettlement& settlement,
                             Report& report) {
    const std::vector<std::string> failed = replayVariables(manager, settlement.saved);
    reportEach("replayed", settlement.saved, report);
    report.fact("variables") = toJson(settlement.saved);
    reportAndThrow(failed, report);
}

std::optional<Failure> failureOf(const std::function<void()>& settle) {
    try {
        settle();
    } catch (const Failure& failure) {
        return failure;
    }
    return std::nullopt;
}

void failWith(const Failure& failure, const std::optional<Failure>& other, Report& report) {
    if (other) {
        report.warning(other->what());
    }
    throw failure;
}
