// Documents made in the tests of the planner, and an independent way to lay records out in messages: one by one.
#ifndef TARN_TESTS_PLAN_SUPPORT_H
#define TARN_TESTS_PLAN_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "libtarnpolicydoc/Load.h"
#include "libtarnpolicydoc/Plan.h"
#include "support/Files.h"

namespace plantest {

inline constexpr char kDocument[] = "/etc/tarn/policy.json";
inline constexpr std::uint64_t kRoom = 1048552;  // 1 MiB without header (20) and end number (4)

// A rule with that many subjects and objects by identifier. A text parameter of `surplus` - 28 bytes brings its records
// to 100 + `surplus` bytes; below 28 there is none. Identifiers are numbered from `base`.
inline std::string rule(const std::string& nameSpace, const std::string& group, int subjects, int objects, int surplus,
                        int base = 0) {
    const auto list = [base](int count, int second) {
        std::string out;
        for (int i = 0; i < count; ++i) {
            out += (i == 0 ? "[" : ",[") + std::to_string(base + i) + "," + std::to_string(second) + ",0]";
        }
        return "[" + out + "]";
    };
    std::string out = R"({"class":"file","perm":"read","namespace":")" + nameSpace + R"(","group":")" + group +
                      R"(","module":"m","subjectIds":)" + list(subjects, 1) + R"(,"objectIds":)" + list(objects, 2);
    if (surplus >= 28) {
        out += R"(,"actions":[{"function":"f","params":[")" + std::string(static_cast<std::size_t>(surplus - 28), 'x') +
               R"("]}])";
    }
    return out + "}";
}

using GroupTexts = std::vector<std::pair<std::string, std::vector<std::string>>>;

inline policydoc::PolicyDocument documentOf(const GroupTexts& groups) {
    std::string text = R"({"tarnPolicy":1,"namespaces":{"n":["m:f"],"o":["m:f"]},"groups":{)";
    for (std::size_t g = 0; g < groups.size(); ++g) {
        text += (g == 0 ? "\n\"" : ",\n\"") + groups[g].first + "\":{\"rules\":[";
        for (std::size_t i = 0; i < groups[g].second.size(); ++i) {
            text += (i == 0 ? "\n" : ",\n") + groups[g].second[i];
        }
        text += "]}";
    }
    testfiles::write(kDocument, text + "}}");
    policydoc::Diagnostics diagnostics;
    auto document = policydoc::load(kDocument, diagnostics);
    EXPECT_EQ(diagnostics.all().size(), 0U) << policydoc::toText(diagnostics);
    return document.value_or(policydoc::PolicyDocument());
}

// Bytes of one record, from the rule's own fields.
inline std::uint64_t bytesOf(const PolicyNode& node) {
    std::uint64_t bytes = 100;
    for (const ExprNode& expr : node.vecExpr) {
        bytes += 20 + (expr.uiExprType == 12 ? node.strNamespace.size() + 1 + expr.strVarName.size() : 0);
        for (const FuncParam& param : expr.vecParam) {
            bytes += param.uiParamType == 2 ? 16 : 8 + param.strData.size();
        }
    }
    for (const DoFuncNode& action : node.vecDoFunc) {
        bytes += 20;
        for (const FuncParam& param : action.vecParam) {
            bytes += param.uiParamType == 2 ? 16 : 8 + param.strData.size();
        }
    }
    return bytes;
}

struct File {
    std::uint64_t records = 0;
    std::uint64_t bytes = 24;

    bool operator==(const File& other) const { return records == other.records && bytes == other.bytes; }
};
using Files = std::map<std::string, File>;

// Puts the records of handed-over groups into files one by one.
inline Files layOut(const std::map<std::string, std::vector<PolicyNode>>& groups, std::size_t threads) {
    Files files;
    for (const auto& [key, rules] : groups) {
        std::size_t next = 0;
        for (std::size_t slice = 0; slice < threads; ++slice) {
            const std::size_t length = rules.size() / threads + (slice < rules.size() % threads ? 1 : 0);
            std::map<std::string, std::uint64_t> counts;
            for (std::size_t i = 0; i < length; ++i, ++next) {
                const PolicyNode& node = rules[next];
                const std::string series =
                    key + "_" + std::to_string(slice) + "_" + node.strNamespace + "_" + node.strGroup + "_";
                for (std::size_t pair = 0; pair < node.vecSubjectId.size() * node.vecObjectId.size(); ++pair) {
                    File& file = files[series + std::to_string(counts[series]++ / 10000)];
                    ++file.records;
                    file.bytes += bytesOf(node);
                }
            }
        }
    }
    return files;
}

inline Files filesOf(const std::vector<policydoc::PlannedFile>& planned) {
    Files files;
    for (const policydoc::PlannedFile& file : planned) {
        EXPECT_EQ(files.count(file.name), 0U) << file.name;
        files[file.name] = File{file.records, file.bytes};
    }
    return files;
}

inline std::map<std::string, std::vector<PolicyNode>> groupsOf(const policydoc::PolicyDocument& document,
                                                               const policydoc::Plan& plan,
                                                               const policydoc::Labels& labels = {}) {
    std::map<std::string, std::vector<PolicyNode>> groups;
    policydoc::Diagnostics diagnostics;
    EXPECT_TRUE(handOver(document, plan, labels, diagnostics, [&groups](const std::string& key, PolicyDb& db) {
        EXPECT_EQ(groups.count(key), 0U) << key;
        groups[key] = std::move(db.vecPolicy);
        return true;
    })) << policydoc::toText(diagnostics);
    return groups;
}

inline policydoc::Plan planOf(const policydoc::PolicyDocument& document, const policydoc::PlanOptions& options = {},
                              const policydoc::Labels& labels = {}) {
    policydoc::Diagnostics diagnostics;
    auto plan = makePlan(document, labels, options, diagnostics);
    EXPECT_TRUE(plan) << policydoc::toText(diagnostics);
    return plan.value_or(policydoc::Plan());
}

}  // namespace plantest

#endif
