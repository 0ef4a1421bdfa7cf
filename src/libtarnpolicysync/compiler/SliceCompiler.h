// Puts the rules of slices into messages and writes them: the body of one compiler thread. What it remembers from slice
// to slice holds for one compilation.
#ifndef TARN_COMPILER_SLICE_COMPILER_H
#define TARN_COMPILER_SLICE_COMPILER_H

#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "libtarnpolicysync/MessageBuffer.h"
#include "libtarnpolicysync/compiler/NumberLookup.h"
#include "libtarnpolicysync/compiler/RuleSlice.h"

class PolicyModuleManagerInterface::Private::SliceCompiler {
public:
    SliceCompiler(PolicyModuleManagerInterface& manager, std::string directory)
        : dump_(manager.logflag), directory_(std::move(directory)), lookup_(manager) {}

    // Stops at the first failure and returns its status: unfinished messages are dropped, written files stay.
    int compile(const std::string& prefix, const RuleSlice& rules);
    int compile(const std::string& prefix, const std::vector<PolicyNode>& rules);

private:
    // Rules of one group and namespace share messages; the fields are compared in this order.
    using GroupKey = std::tuple<std::string, std::string, std::string>;  // group, namespace, file prefix

    struct MessageGroup {
        int records = 0;    // in the message under construction
        int fileIndex = 0;  // of the next file
        std::unique_ptr<MessageBuffer> message;
    };
    using GroupMap = std::map<GroupKey, MessageGroup>;

    // A rule's pairs beside what its records share.
    struct Pairs {
        const PolicyNode& head;
        const TARN_ID* subjects;
        std::size_t subjectCount;
        const TARN_ID* objects;
        std::size_t objectCount;
    };

    // The first record of a head in the current message. Those of its other pairs are copies with 52 bytes set.
    struct Template {
        const char* bytes = nullptr;
        unsigned long length = 0;
        std::size_t room = 0;  // for so many copies; 0 before there is a first record
    };

    template <typename Rules>
    int compileAll(const std::string& prefix, const Rules& rules);
    int addRules(const RuleSlice& rules);
    int addRules(const std::vector<PolicyNode>& rules);
    int flushAll();
    void dropGroups();
    std::unique_ptr<MessageBuffer> takeBuffer();
    void enterHead(const PolicyNode& head);
    int addRule(const Pairs& rule);
    int addRecords(GroupMap::value_type& entry, const Pairs& rule, const TARN_ID& subject);
    int encode(MessageGroup& group, const PolicyNode& rule, const TARN_ID& subject, const TARN_ID& object);

    std::string pathOf(const GroupMap::value_type& entry) const;
    void finishMessage(MessageGroup& group) const;
    int flushFull(GroupMap::value_type& entry) const;
    int flushLast(GroupMap::value_type& entry) const;

    bool dump_;
    std::string directory_;
    NumberLookup lookup_;
    std::string prefix_;
    GroupMap groups_;
    GroupMap::value_type* lastGroup_ = nullptr;  // rules come in runs
    const PolicyNode* lastHead_ = nullptr;
    Template template_;
    std::unique_ptr<MessageBuffer> spare_;  // of an earlier slice: many slices have one group of few records
};

#endif
