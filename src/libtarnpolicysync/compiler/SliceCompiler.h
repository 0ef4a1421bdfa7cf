// Puts the rules of one slice into messages and writes them: the body of one compiler thread.
#ifndef TARN_COMPILER_SLICE_COMPILER_H
#define TARN_COMPILER_SLICE_COMPILER_H

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "libtarnpolicysync/MessageBuffer.h"
#include "libtarnpolicysync/compiler/NumberLookup.h"

class PolicyModuleManagerInterface::Private::SliceCompiler {
public:
    SliceCompiler(PolicyModuleManagerInterface& manager, const std::string& prefix, const std::string& directory)
        : dump_(manager.logflag), prefix_(prefix), directory_(directory), lookup_(manager) {}

    // Stops at the first failure and returns its status: unfinished messages are dropped, written files stay.
    int compile(const std::vector<PolicyNode>& slice);

private:
    // Rules of one group and namespace share messages; the fields are compared in this order.
    using GroupKey = std::tuple<std::string, std::string, std::string>;  // group, namespace, file prefix

    struct MessageGroup {
        int records = 0;    // in the message under construction
        int fileIndex = 0;  // of the next file
        MessageBuffer message;
    };
    using GroupMap = std::map<GroupKey, MessageGroup>;

    // The bytes of the rule's first record in the message: all that the records of its other pairs differ in are 52
    // bytes. Null before there is one.
    struct Template {
        const char* bytes = nullptr;
        unsigned long length = 0;
    };

    GroupMap::value_type& groupOf(const PolicyNode& rule);
    int addRule(const PolicyNode& rule);
    int addRecord(GroupMap::value_type& entry, const PolicyNode& rule, const TARN_ID& subject, const TARN_ID& object,
                  Template& last);
    int encode(MessageBuffer& message, const PolicyNode& rule, const TARN_ID& subject, const TARN_ID& object,
               Template& last);

    std::string pathOf(const GroupMap::value_type& entry) const;
    void finishMessage(MessageGroup& group) const;
    int flushFull(GroupMap::value_type& entry) const;
    int flushLast(GroupMap::value_type& entry) const;

    bool dump_;
    const std::string& prefix_;
    const std::string& directory_;
    NumberLookup lookup_;
    GroupMap groups_;
    GroupMap::value_type* lastGroup_ = nullptr;  // rules come in runs
};

#endif
