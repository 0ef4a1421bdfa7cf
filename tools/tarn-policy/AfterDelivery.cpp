#include "AfterDelivery.h"

#include "Files.h"
#include "SettlementNote.h"
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

// Tells those that were switched and collects those that were not.
void take(const char* word, const SwitchResult& result, std::vector<Variable>& switched,
          std::vector<std::string>& failed, Report& report) {
    reportEach(word, result.done, report);
    switched.insert(switched.end(), result.done.begin(), result.done.end());
    append(failed, result.failed);
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

std::vector<std::string> settleEarlierDelivery(PolicyModuleManagerInterface& manager, Report& report) {
    std::vector<Variable> kept;
    std::vector<Variable> dropped;
    for (const UnsettledVariable& entry : SettlementNote::unsettled(readSavedVariables().variables)) {
        if (entry.keep) {
            kept.push_back(entry.variable);
        } else {
            dropped.push_back(entry.variable);
        }
    }
    const SwitchResult again = setVariables(manager, kept);
    if (!kept.empty() || !dropped.empty()) {
        report.warning("an earlier delivery was ended before it had settled its dynamic variables");
        report.fact("earlierDropped") = toJson(dropped);
        report.fact("earlierSetAgain") = toJson(again.done);
    }
    reportEach("dropped by an earlier delivery", dropped, report);
    reportEach("set again for an earlier delivery", again.done, report);
    for (const std::string& text : again.failed) {
        report.warning("not set again for an earlier delivery: " + text);
    }
    SettlementNote::remove();
    return again.failed;
}

void noteVariablesToDrop(const VariableSettlement& settlement) {
    SettlementNote::write(settlement.saved, settlement.keep);
}

void settleDroppedVariables(PolicyModuleManagerInterface& manager, const VariableSettlement& settlement,
                            Report& report) {
    std::vector<std::string> failed = settlement.failedBefore;
    std::vector<Variable> dropped = settlement.saved;
    std::vector<Variable> switched;
    if (fileExists(paths::kDynamicInfo)) {
        failed.push_back(std::string(paths::kDynamicInfo) +
                         " could not be removed: the dropped variables come back at the next start");
        dropped.clear();
    }
    report.fact("droppedVariables") = toJson(dropped);
    reportEach("dropped", dropped, report);
    if (settlement.keep) {
        take("set again", setVariables(manager, settlement.saved), switched, failed, report);
    }
    take("set", setVariables(manager, settlement.wanted), switched, failed, report);
    report.fact("switchedVariables") = toJson(switched);
    report.fact("variables") = toJson(readSavedVariables().variables);
    SettlementNote::remove();
    reportAndThrow(failed, report);
}

void settleReplayedVariables(PolicyModuleManagerInterface& manager, const VariableSettlement& settlement,
                             Report& report) {
    std::vector<std::string> failed = settlement.failedBefore;
    std::vector<Variable> switched;
    take("replayed", replayVariables(manager, settlement.saved), switched, failed, report);
    report.fact("switchedVariables") = toJson(switched);
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
