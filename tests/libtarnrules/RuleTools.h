// What the tests of rules share: forms of messages in memory, and sets on disk that are made without the library.
#ifndef TARN_TESTS_RULE_TOOLS_H
#define TARN_TESTS_RULE_TOOLS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "libtarnrules/CanonicalForm.h"
#include "libtarnrules/RuleSet.h"
#include "support/Files.h"
#include "support/Golden.h"
#include "support/RandomPolicy.h"

namespace ruletools {

inline constexpr char kFolder[] = "/etc/tarn/a";
inline constexpr char kSet[] = "/etc/tarn/a/set";

// The forms of a message's records, with the names of the golden namespace message.
class Forms : public tarnmessage::MessageVisitor {
public:
    Forms() {
        static_cast<void>(tarnmessage::parseMessage(golden::message("namespace"), {}, *this));
        book_.attach(&announced_);
    }
    void onNamespace(const tarnmessage::NamespaceView& block) override { announced_.add(block); }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        std::string form;
        EXPECT_TRUE(tarnrules::writeForm(form, record, names));
        forms.push_back(form);
    }

    // Nothing where the reader refuses the message.
    std::optional<std::vector<std::string>> of(const std::string& message) {
        forms.clear();
        tarnmessage::ReadContext context;
        context.functions = &announced_;
        const auto finding = tarnmessage::parseMessage(message, context, *this);
        return finding ? std::nullopt : std::make_optional(forms);
    }

private:
    tarnmessage::FunctionTable announced_;
    tarnnames::NameBook book_;

public:
    tarnrules::RuleNames names{book_, announced_};
    std::vector<std::string> forms;
};

// A set and its scene_info, as a compilation with this number of threads leaves them. `folder` must be new.
inline void putSet(const model::Policy& policy, std::size_t threads, const std::string& folder = kFolder) {
    model::Files files = model::policyFiles(policy.numbers, policy.groups, threads);
    files["beginmsg"] = model::beginMessage();
    files["namemsg"] = model::namespaceMessage(policy.numbers, policy.namespaces);
    files["endmsg"] = model::endMessage();
    for (const auto& [name, bytes] : files) {
        testfiles::write(folder + "/set/" + name, bytes);
    }
    std::string scenes;
    for (const auto& [name, functions] : policy.namespaces) {
        scenes += std::to_string(policy.numbers.name(name)) + ":" + name + "\n";
    }
    testfiles::write(folder + "/scene_info", scenes);
}

// The same policy under other numbers: every namespace is pinned, functions are listed the other way round.
inline model::Policy renumbered(model::Policy policy) {
    std::uint32_t number = 1000;
    std::reverse(policy.namespaces.begin(), policy.namespaces.end());
    for (auto& [nameSpace, entries] : policy.namespaces) {
        policy.numbers.names[nameSpace] = ++number;
        std::reverse(entries.begin(), entries.end());
        std::uint32_t function = 0;
        for (const std::string& entry : entries) {
            const std::size_t colon = entry.find(':');
            policy.numbers.functions[{nameSpace, entry.substr(0, colon), entry.substr(colon + 1)}] = ++function;
        }
    }
    return policy;
}

// Fenced blocks of docs/digest.md: what stands between "```KIND NAME" and "```".
inline std::string block(const std::string& title) {
    std::ifstream page(TARN_DOCS_DIR "/digest.md");
    std::string text;
    bool isOpen = false;
    for (std::string line; std::getline(page, line);) {
        if (line == "```" + title) {
            isOpen = true;
        } else if (line == "```") {
            isOpen = false;
        } else if (isOpen) {
            text += line + "\n";
        }
    }
    return text;
}

}  // namespace ruletools

#endif
