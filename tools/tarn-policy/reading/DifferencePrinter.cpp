#include "reading/DifferencePrinter.h"

using tarnrules::RebuiltRecord;

bool DifferencePrinter::onAdded(std::string_view form) {
    ++added_;
    return print("+ ", "added", "new", form, newWords_);
}

bool DifferencePrinter::onRemoved(std::string_view form) {
    ++removed_;
    return print("- ", "removed", "old", form, oldWords_);
}

bool DifferencePrinter::print(const char* mark, const char* kind, const char* side, std::string_view form,
                              const RuleWords& words) {
    if (brief_) {
        return true;
    }
    const RebuiltRecord rule(form);
    if (report_.json()) {
        return report_.element(std::string("{\"kind\":\"") + kind + "\"," + identityJson(rule, words) + ",\"" + side +
                               "\":{" + contentJson(rule) + "}}");
    }
    return report_.write(mark + identityText(rule, words) + " " + contentText(rule) + "\n");
}

bool DifferencePrinter::onChanged(std::string_view oldForm, std::string_view newForm) {
    ++changed_;
    if (brief_) {
        return true;
    }
    const RebuiltRecord before(oldForm);
    const RebuiltRecord after(newForm);
    if (report_.json()) {
        return report_.element("{\"kind\":\"changed\"," + identityJson(after, newWords_) + ",\"old\":{" +
                               contentJson(before) + "},\"new\":{" + contentJson(after) + "}}");
    }
    return report_.write("! " + identityText(after, newWords_) + "\n  - " + contentText(before) + "\n  + " +
                         contentText(after) + "\n");
}

void DifferencePrinter::finish() {
    report_.fact("added") = Json::UInt64{added_};
    report_.fact("removed") = Json::UInt64{removed_};
    report_.fact("changed") = Json::UInt64{changed_};
    if (foundAny() && !report_.json()) {
        static_cast<void>(report_.write(std::to_string(added_) + " added, " + std::to_string(removed_) + " removed, " +
                                        std::to_string(changed_) + " changed\n"));
    }
}
