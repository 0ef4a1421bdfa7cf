#include "libtarnpolicydoc/MessageLayout.h"

#include <algorithm>
#include <functional>
#include <map>

#include "libtarnmessage/RecordSize.h"
#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/Paths.h"

namespace policydoc {

namespace {

constexpr std::uint64_t kWidth = kernelmsg::kRecordsPerMessage;

// One message while it fills.
struct Message {
    std::uint64_t records = 0;
    std::uint64_t bytes = tarnmessage::kMessageFrameSize;
    std::uint32_t number = 0;  // of its file
};

struct Slice {
    std::uint32_t key;
    unsigned int number;
    std::size_t first;  // rules of the key
    std::size_t end;
};

// Slices of nearly equal length, the longer ones first; empty ones are left out.
std::vector<Slice> slicesOf(const Plan& plan, std::uint32_t key, unsigned int threads) {
    const std::size_t total = plan.keys[key].rules.size();
    const std::size_t count = std::max(1U, threads);
    std::vector<Slice> slices;
    std::size_t first = 0;
    for (unsigned int number = 0; number < count; ++number) {
        const std::size_t length = total / count + (number < total % count ? 1 : 0);
        if (length == 0) {
            break;  // none of those that follow writes a file
        }
        slices.push_back({key, number, first, first + length});
        first += length;
    }
    return slices;
}

// Walks over the messages of one slice.
class SliceLayout {
public:
    using Filled = std::function<void(const Message&, std::uint32_t messageGroup, std::uint32_t rule)>;

    // `filled` is told of every step in which records were put into a message; `closed` of every message that ended.
    SliceLayout(const Plan& plan, const Slice& slice, Filled filled, Filled closed)
        : plan_(plan), slice_(slice), filled_(std::move(filled)), closed_(std::move(closed)) {}

    void run() {
        for (std::size_t i = slice_.first; i < slice_.end; ++i) {
            add(plan_.keys[slice_.key].rules[i]);
        }
        for (const auto& [messageGroup, message] : messages_) {
            if (message.records != 0) {
                closed_(message, messageGroup, 0);
            }
        }
    }

private:
    void add(const PlannedRule& part) {
        const RuleOutcome& rule = plan_.rules[part.rule];
        Message& message = messages_[rule.messageGroup];
        for (std::uint64_t left = part.records(); left != 0;) {
            const std::uint64_t count = std::min(left, kWidth - message.records);
            message.records += count;
            message.bytes += count * rule.recordBytes;
            left -= count;
            filled_(message, rule.messageGroup, part.rule);
            if (message.records == kWidth) {
                closed_(message, rule.messageGroup, part.rule);
                message = Message{0, tarnmessage::kMessageFrameSize, message.number + 1};
            }
        }
    }

    const Plan& plan_;
    const Slice& slice_;
    Filled filled_;
    Filled closed_;
    std::map<std::uint32_t, Message> messages_;  // by message group
};

std::map<std::uint32_t, std::uint64_t> bytesByGroup(const Plan& plan, std::uint32_t key) {
    std::map<std::uint32_t, std::uint64_t> bytes;
    for (const PlannedRule& part : plan.keys[key].rules) {
        const RuleOutcome& rule = plan.rules[part.rule];
        bytes[rule.messageGroup] += part.records() * rule.recordBytes;
    }
    return bytes;
}

}  // namespace

std::vector<PlannedFile> planFiles(const Plan& plan, unsigned int threads) {
    std::vector<PlannedFile> files;
    for (std::uint32_t key = 0; key < plan.keys.size(); ++key) {
        for (const Slice& slice : slicesOf(plan, key, threads)) {
            const std::string prefix = paths::slicePrefix(paths::keyStem(plan.keys[key].key), slice.number);
            const auto closed = [&](const Message& message, std::uint32_t messageGroup, std::uint32_t) {
                const MessageGroup& names = plan.messageGroups[messageGroup];
                files.push_back(
                    {paths::policyFileName(prefix, names.nameSpace, names.group, static_cast<int>(message.number)), key,
                     messageGroup, message.records, message.bytes});
            };
            SliceLayout(
                plan, slice, [](const Message&, std::uint32_t, std::uint32_t) {}, closed)
                .run();
        }
    }
    std::sort(files.begin(), files.end(), [](const PlannedFile& a, const PlannedFile& b) { return a.name < b.name; });
    return files;
}

std::vector<Overflow> overflows(const Plan& plan, unsigned int threads) {
    std::vector<Overflow> found;
    for (std::uint32_t key = 0; key < plan.keys.size(); ++key) {
        std::map<std::uint32_t, std::uint64_t> bytes = bytesByGroup(plan, key);
        for (const Slice& slice : slicesOf(plan, key, threads)) {
            const auto filled = [&](const Message& message, std::uint32_t messageGroup, std::uint32_t rule) {
                const auto total = bytes.find(messageGroup);
                if (message.bytes > kernelmsg::kMessageCapacity && total != bytes.end()) {
                    found.push_back({rule, message.bytes, total->second});
                    bytes.erase(total);  // one report for each
                }
            };
            SliceLayout(plan, slice, filled, [](const Message&, std::uint32_t, std::uint32_t) {}).run();
        }
    }
    return found;
}

}  // namespace policydoc
