#include "libtarnpolicysync/compiler/SliceCompiler.h"

#include <securec.h>

#include <cstring>

#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"

namespace {

// Sets what differs between the records of one rule: the policy type and the two identifiers.
void setPair(char* record, const TARN_ID& subject, const TARN_ID& object) {
    char* node = record + sizeof kernelmsg::kMagicNumber;
    const std::uint32_t type = kernelmsg::policyTypeOf(object);
    std::memcpy(node + offsetof(kernelmsg::PolicyNodeRecord, policyType), &type, sizeof type);
    std::memcpy(node + offsetof(kernelmsg::PolicyNodeRecord, subject), &subject, sizeof subject);
    std::memcpy(node + offsetof(kernelmsg::PolicyNodeRecord, object), &object, sizeof object);
}

int writeMessage(const MessageBuffer& message, const std::string& path) {
    const int result = writeFileData(path, message.bytes(), message.used, paths::kWriteFlags);
    if (result != 0) {
        TARN_LOG(kLogError, "###ERROR: in compileKernelPolicyThread, writeFileData error");
    }
    return result;
}

}  // namespace

int PolicyModuleManagerInterface::Private::SliceCompiler::compile(const std::vector<PolicyNode>& slice) {
    for (const PolicyNode& rule : slice) {
        if (const int status = addRule(rule)) {
            return status;
        }
    }
    for (auto& entry : groups_) {
        if (entry.second.records == 0) {
            continue;
        }
        if (const int status = flushLast(entry)) {
            return status;
        }
    }
    return 0;
}

PolicyModuleManagerInterface::Private::SliceCompiler::GroupMap::value_type&
PolicyModuleManagerInterface::Private::SliceCompiler::groupOf(const PolicyNode& rule) {
    if (lastGroup_ == nullptr || std::get<0>(lastGroup_->first) != rule.strGroup ||
        std::get<1>(lastGroup_->first) != rule.strNamespace) {
        lastGroup_ = &*groups_.try_emplace(GroupKey(rule.strGroup, rule.strNamespace, prefix_)).first;
    }
    return *lastGroup_;
}

// One record for each pair, those of the first subject first.
int PolicyModuleManagerInterface::Private::SliceCompiler::addRule(const PolicyNode& rule) {
    GroupMap::value_type& entry = groupOf(rule);
    Template last;
    for (const TARN_ID& subject : rule.vecSubjectId) {
        for (const TARN_ID& object : rule.vecObjectId) {
            if (const int status = addRecord(entry, rule, subject, object, last)) {
                return status;
            }
        }
    }
    return 0;
}

int PolicyModuleManagerInterface::Private::SliceCompiler::addRecord(GroupMap::value_type& entry, const PolicyNode& rule,
                                                                    const TARN_ID& subject, const TARN_ID& object,
                                                                    Template& last) {
    MessageGroup& group = entry.second;
    MessageBuffer& message = group.message;
    if (group.records == 0) {
        TARN_LOG(kLogDetail, "###INFO: 新的策略消息...");
        message.restart();
        last = {};
    }
    if (last.bytes != nullptr && message.append(last.bytes, last.length)) {
        setPair(message.cursor - last.length, subject, object);
    } else if (const int status = encode(message, rule, subject, object, last)) {
        return status;
    }
    ++group.records;
    return group.records == kernelmsg::kRecordsPerMessage ? flushFull(entry) : 0;
}

// Through the encoder: the first record of a rule in a message, and one that does not fit any more, so that the same
// bytes stay behind and the same line is logged.
int PolicyModuleManagerInterface::Private::SliceCompiler::encode(MessageBuffer& message, const PolicyNode& rule,
                                                                 const TARN_ID& subject, const TARN_ID& object,
                                                                 Template& last) {
    const char* start = message.cursor;
    const unsigned int status = encodeRecord(lookup_, rule, subject, object, {message.cursor, message.used});
    if (status != 0) {
        TARN_LOG(kLogError, "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error");
        return static_cast<int>(status);
    }
    last = {start, static_cast<unsigned long>(message.cursor - start)};
    return 0;
}

std::string PolicyModuleManagerInterface::Private::SliceCompiler::pathOf(const GroupMap::value_type& entry) const {
    const auto& [name, nameSpace, prefix] = entry.first;
    return paths::inDirectory(directory_, paths::policyFileName(prefix, nameSpace, name, entry.second.fileIndex));
}

// Closes the header over the finished message and dumps it where traces are wanted.
void PolicyModuleManagerInterface::Private::SliceCompiler::finishMessage(MessageGroup& group) const {
    group.message.writeHeader(sizeof(kernelmsg::PolicyNodeRecord), static_cast<std::uint32_t>(group.records),
                              kernelmsg::kTypePolicy);
    if (dump_) {
        printBytes(group.message.bytes(), group.message.used);
    }
}

// A full message goes out at once. Unlike the last messages of a thread its path is not judged here, and the end number
// goes through the same append as the records.
int PolicyModuleManagerInterface::Private::SliceCompiler::flushFull(GroupMap::value_type& entry) const {
    MessageGroup& group = entry.second;
    if (!group.message.append(&kernelmsg::kEndNumber, sizeof kernelmsg::kEndNumber)) {
        TARN_LOG(kLogError, "Failed to copy end_number, buffer full");
        return 1;
    }
    finishMessage(group);
    if (const int result = writeMessage(group.message, pathOf(entry))) {
        return result;
    }
    ++group.fileIndex;
    group.records = 0;
    return 0;
}

// What is left after the last rule. A path that is refused loses the message without an error; hosts count on it.
int PolicyModuleManagerInterface::Private::SliceCompiler::flushLast(GroupMap::value_type& entry) const {
    MessageGroup& group = entry.second;
    MessageBuffer& message = group.message;
    if (message.remaining() < sizeof kernelmsg::kEndNumber) {
        TARN_LOG(kLogError, "Not enough space for end_number, need 4, remaining %zu", message.remaining());
        return 1;
    }
    static_cast<void>(
        memcpy_s(message.cursor, message.remaining(), &kernelmsg::kEndNumber, sizeof kernelmsg::kEndNumber));
    message.used += sizeof kernelmsg::kEndNumber;
    finishMessage(group);
    const std::string path = pathOf(entry);
    if (!IsSafeAbsolutePath(path)) {
        TARN_LOG(kLogError, "Skip illegal local file path: %s", path.c_str());
        return 0;
    }
    return writeMessage(message, path);
}
