#include "libtarnpolicysync/compiler/PolicySnapshot.h"

#include <exception>
#include <thread>

#include "libtarnpolicysync/compiler/SliceRange.h"

namespace {

// Below this number of rules a thread costs more than it saves.
constexpr std::size_t kRulesWorthThreads = 4096;

using Table = std::map<std::string, PolicyDb>;

std::size_t countRules(const Table& table) {
    std::size_t count = 0;
    for (const auto& [key, group] : table) {
        count += group.vecPolicy.size();
    }
    return count;
}

const PolicyNode& ruleOf(const PolicyNode& rule) {
    return rule;
}
const PolicyNode& ruleOf(const PolicyNode* rule) {
    return *rule;
}

// Slice `index` of `count` of the rules, or of those that are pointed at.
template <typename Rules>
void copySlice(const Rules& rules, std::size_t count, std::size_t index, RuleSlice& slice) {
    const SliceRange range = sliceRange(rules.size(), count, index);
    for (std::size_t offset = 0; offset < range.length; ++offset) {
        slice.add(ruleOf(rules[range.begin + offset]));
    }
}

// Slice `index` of every section. An exception (there is none but for want of memory) is kept for the caller.
void copySlices(const Table& table, std::vector<SlicedRules>& sections, std::size_t index,
                std::exception_ptr& failure) {
    try {
        auto section = sections.begin();
        for (const auto& [key, group] : table) {
            copySlice(group.vecPolicy, section->slices.size(), index, section->slices[index]);
            ++section;
        }
    } catch (...) {
        failure = std::current_exception();
    }
}

}  // namespace

std::vector<SlicedRules> takeSnapshot(const Table& table, std::size_t sliceCount) {
    std::vector<SlicedRules> sections;
    sections.reserve(table.size());
    for (const auto& [key, group] : table) {
        sections.push_back({key, std::vector<RuleSlice>(sliceCount)});
    }
    if (sliceCount == 0) {  // a host's own manager may say so; the caller refuses it
        return sections;
    }
    std::vector<std::exception_ptr> failures(sliceCount);
    const auto copy = [&](std::size_t index) { copySlices(table, sections, index, failures[index]); };

    const bool inThreads = countRules(table) >= kRulesWorthThreads;
    std::vector<std::thread> helpers;
    helpers.reserve(sliceCount);  // nothing may throw while a helper runs
    for (std::size_t index = 1; index < sliceCount; ++index) {
        try {
            if (inThreads) {
                helpers.emplace_back(copy, index);
                continue;
            }
        } catch (const std::exception&) {  // no thread or no memory for one: this thread does it
        }
        copy(index);
    }
    copy(0);
    for (std::thread& helper : helpers) {
        helper.join();
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
    return sections;
}

SlicedRules takeSectionSnapshot(const Table& table, const std::string& nameSpace, const std::string& group,
                                std::size_t sliceCount) {
    SlicedRules section{"", std::vector<RuleSlice>(sliceCount)};
    std::vector<const PolicyNode*> matches;
    for (const auto& [key, entry] : table) {
        const std::size_t before = matches.size();
        for (const PolicyNode& rule : entry.vecPolicy) {
            if (rule.strNamespace == nameSpace && rule.strGroup == group) {
                matches.push_back(&rule);
            }
        }
        if (matches.size() != before) {
            section.key = key;
        }
    }
    for (std::size_t index = 0; index < sliceCount; ++index) {
        copySlice(matches, sliceCount, index, section.slices[index]);
    }
    return section;
}
