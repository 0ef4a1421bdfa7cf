#include "libtarnpolicysync/compiler/SliceCompiler.h"

#include <securec.h>

#include <algorithm>
#include <cstring>

#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"

namespace {

constexpr unsigned long kNodeOffset = sizeof kernelmsg::kMagicNumber;
constexpr unsigned long kPlainLength = kNodeOffset + sizeof(kernelmsg::PolicyNodeRecord);

void setSubject(char* record, const TARN_ID& subject) {
    std::memcpy(record + kNodeOffset + offsetof(kernelmsg::PolicyNodeRecord, subject), &subject, sizeof subject);
}

// The policy type follows from the object.
void setObject(char* record, const TARN_ID& object) {
    const std::uint32_t type = kernelmsg::policyTypeOf(object);
    std::memcpy(record + kNodeOffset + offsetof(kernelmsg::PolicyNodeRecord, policyType), &type, sizeof type);
    std::memcpy(record + kNodeOffset + offsetof(kernelmsg::PolicyNodeRecord, object), &object, sizeof object);
}

// Copies a record `count` times, each with the next object. A record without condition and actions is short enough for
// the compiler to keep it in registers, so that what is written is not read back.
char* copyRecords(char* cursor, const char* record, unsigned long length, const TARN_ID& subject,
                  const TARN_ID* objects, std::size_t count) {
    if (length == kPlainLength) {
        char plain[kPlainLength];
        std::memcpy(plain, record, sizeof plain);
        setSubject(plain, subject);
        for (std::size_t index = 0; index < count; ++index, cursor += sizeof plain) {
            std::memcpy(cursor, plain, sizeof plain);
            setObject(cursor, objects[index]);
        }
        return cursor;
    }
    for (std::size_t index = 0; index < count; ++index, cursor += length) {
        std::memcpy(cursor, record, length);
        setSubject(cursor, subject);
        setObject(cursor, objects[index]);
    }
    return cursor;
}

int writeMessage(const MessageBuffer& message, const std::string& path) {
    const int result = writeFileData(path, message.bytes(), message.used, paths::kWriteFlags);
    if (result != 0) {
        TARN_LOG(kLogError, "###ERROR: in compileKernelPolicyThread, writeFileData error");
    }
    return result;
}

}  // namespace

int PolicyModuleManagerInterface::Private::SliceCompiler::compile(const std::string& prefix, const RuleSlice& rules) {
    return compileAll(prefix, rules);
}

int PolicyModuleManagerInterface::Private::SliceCompiler::compile(const std::string& prefix,
                                                                  const std::vector<PolicyNode>& rules) {
    return compileAll(prefix, rules);
}

template <typename Rules>
int PolicyModuleManagerInterface::Private::SliceCompiler::compileAll(const std::string& prefix, const Rules& rules) {
    dropGroups();  // that an exception left behind
    prefix_ = prefix;
    int status = addRules(rules);
    if (status == 0) {
        status = flushAll();
    }
    dropGroups();
    return status;
}

int PolicyModuleManagerInterface::Private::SliceCompiler::addRules(const RuleSlice& rules) {
    for (const RuleRun& run : rules.runs()) {
        const TARN_ID* subjects = run.identifiers;
        for (std::size_t index = 0; index < run.ruleCount; ++index) {
            const TARN_ID* objects = subjects + run.subjectCount;
            if (const int status = addRule({*run.head, subjects, run.subjectCount, objects, run.objectCount})) {
                return status;
            }
            subjects = objects + run.objectCount;
        }
    }
    return 0;
}

int PolicyModuleManagerInterface::Private::SliceCompiler::addRules(const std::vector<PolicyNode>& rules) {
    for (const PolicyNode& rule : rules) {
        if (const int status = addRule({rule, rule.vecSubjectId.data(), rule.vecSubjectId.size(),
                                        rule.vecObjectId.data(), rule.vecObjectId.size()})) {
            return status;
        }
    }
    return 0;
}

int PolicyModuleManagerInterface::Private::SliceCompiler::flushAll() {
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

void PolicyModuleManagerInterface::Private::SliceCompiler::dropGroups() {
    if (!groups_.empty()) {
        spare_ = std::move(groups_.begin()->second.message);
    }
    groups_.clear();
    lastGroup_ = nullptr;
    lastHead_ = nullptr;
    template_ = {};
}

std::unique_ptr<MessageBuffer> PolicyModuleManagerInterface::Private::SliceCompiler::takeBuffer() {
    return spare_ ? std::move(spare_) : std::make_unique<MessageBuffer>();
}

void PolicyModuleManagerInterface::Private::SliceCompiler::enterHead(const PolicyNode& head) {
    if (lastGroup_ == nullptr || std::get<0>(lastGroup_->first) != head.strGroup ||
        std::get<1>(lastGroup_->first) != head.strNamespace) {
        lastGroup_ = &*groups_.try_emplace(GroupKey(head.strGroup, head.strNamespace, prefix_)).first;
        if (!lastGroup_->second.message) {
            lastGroup_->second.message = takeBuffer();
        }
    }
    lastHead_ = &head;
    template_ = {};
}

// One record for each pair, those of the first subject first.
int PolicyModuleManagerInterface::Private::SliceCompiler::addRule(const Pairs& rule) {
    if (&rule.head != lastHead_) {
        enterHead(rule.head);
    }
    for (std::size_t index = 0; index < rule.subjectCount; ++index) {
        if (const int status = addRecords(*lastGroup_, rule, rule.subjects[index])) {
            return status;
        }
    }
    return 0;
}

// The records of one subject. Once the first record of a head stands in the message, as many as fit are copied from it.
int PolicyModuleManagerInterface::Private::SliceCompiler::addRecords(GroupMap::value_type& entry, const Pairs& rule,
                                                                     const TARN_ID& subject) {
    MessageGroup& group = entry.second;
    MessageBuffer& message = *group.message;
    for (std::size_t done = 0; done < rule.objectCount;) {
        if (group.records == 0) {
            TARN_LOG(kLogDetail, "###INFO: 新的策略消息...");
            message.restart();  // there is no room for a copy: it ended with the last message
        }
        const TARN_ID* objects = rule.objects + done;
        std::size_t count = std::min(template_.room, rule.objectCount - done);
        if (count != 0) {
            message.advance(copyRecords(message.cursor, template_.bytes, template_.length, subject, objects, count));
            template_.room -= count;
            group.records += static_cast<int>(count);
        } else if (const int status = encode(group, rule.head, subject, *objects)) {
            return status;
        } else {
            count = 1;
        }
        done += count;
        if (group.records == kernelmsg::kRecordsPerMessage) {
            if (const int status = flushFull(entry)) {
                return status;
            }
        }
    }
    return 0;
}

// Through the encoder: the first record of a head in a message, and one that does not fit any more, so that the same
// bytes stay behind and the same line is logged.
int PolicyModuleManagerInterface::Private::SliceCompiler::encode(MessageGroup& group, const PolicyNode& rule,
                                                                 const TARN_ID& subject, const TARN_ID& object) {
    MessageBuffer& message = *group.message;
    const char* start = message.cursor;
    const unsigned int status = encodeRecord(lookup_, rule, subject, object, {message.cursor, message.used});
    if (status != 0) {
        TARN_LOG(kLogError, "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error");
        return static_cast<int>(status);
    }
    ++group.records;
    const auto length = std::max(kPlainLength, static_cast<unsigned long>(message.cursor - start));  // never shorter
    const auto places = static_cast<std::size_t>(kernelmsg::kRecordsPerMessage - group.records);
    template_ = {start, length, std::min(places, message.remaining() / length)};
    return 0;
}

std::string PolicyModuleManagerInterface::Private::SliceCompiler::pathOf(const GroupMap::value_type& entry) const {
    const auto& [name, nameSpace, prefix] = entry.first;
    return paths::inDirectory(directory_, paths::policyFileName(prefix, nameSpace, name, entry.second.fileIndex));
}

// Closes the header over the finished message and dumps it where traces are wanted.
void PolicyModuleManagerInterface::Private::SliceCompiler::finishMessage(MessageGroup& group) const {
    group.message->writeHeader(sizeof(kernelmsg::PolicyNodeRecord), static_cast<std::uint32_t>(group.records),
                               kernelmsg::kTypePolicy);
    if (dump_) {
        printBytes(group.message->bytes(), group.message->used);
    }
}

// A full message goes out at once. Unlike the last messages of a thread its path is not judged here, and the end number
// goes through the same append as the records.
int PolicyModuleManagerInterface::Private::SliceCompiler::flushFull(GroupMap::value_type& entry) const {
    MessageGroup& group = entry.second;
    if (!group.message->append(&kernelmsg::kEndNumber, sizeof kernelmsg::kEndNumber)) {
        TARN_LOG(kLogError, "Failed to copy end_number, buffer full");
        return 1;
    }
    finishMessage(group);
    if (const int result = writeMessage(*group.message, pathOf(entry))) {
        return result;
    }
    ++group.fileIndex;
    group.records = 0;
    return 0;
}

// What is left after the last rule. A path that is refused loses the message without an error; hosts count on it.
int PolicyModuleManagerInterface::Private::SliceCompiler::flushLast(GroupMap::value_type& entry) const {
    MessageGroup& group = entry.second;
    MessageBuffer& message = *group.message;
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
