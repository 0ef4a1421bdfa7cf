#include <securec.h>

#include <algorithm>
#include <exception>
#include <system_error>
#include <thread>

#include "Common/Log.h"
#include "libtarnpolicysync/MessageBuffer.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/core/ManagerPrivate.h"

namespace {

// Guards the results of the compiler threads, whichever manager and stage started them.
std::mutex g_mutex;

// Rules of one group and namespace share messages; the fields are compared in this order.
using GroupKey = std::tuple<std::string, std::string, std::string>;  // group, namespace, file prefix

struct MessageGroup {
    int records = 0;    // in the message under construction
    int fileIndex = 0;  // of the next file
    MessageBuffer message;
};
using GroupMap = std::map<GroupKey, MessageGroup>;

std::string pathOf(const GroupKey& key, const MessageGroup& group, const std::string& directory) {
    const auto& [name, nameSpace, prefix] = key;
    return paths::inDirectory(directory, paths::policyFileName(prefix, nameSpace, name, group.fileIndex));
}

// Closes the header over the finished message and dumps it where traces are wanted.
void finishMessage(MessageGroup& group, bool dump) {
    group.message.writeHeader(sizeof(kernelmsg::PolicyNodeRecord), static_cast<std::uint32_t>(group.records),
                              kernelmsg::kTypePolicy);
    if (dump) {
        printBytes(group.message.bytes.get(), group.message.used);
    }
}

int writeMessage(const MessageGroup& group, const std::string& path) {
    const int result = writeFileData(path, group.message.bytes.get(), group.message.used, paths::kWriteFlags);
    if (result != 0) {
        TARN_LOG(kLogError, "###ERROR: in compileKernelPolicyThread, writeFileData error");
    }
    return result;
}

// A full message goes out at once. Unlike the last messages of a thread its path is not judged here, and the end number
// goes through the same append as the records.
int flushFull(const GroupKey& key, MessageGroup& group, const std::string& directory, bool dump) {
    if (!group.message.append(&kernelmsg::kEndNumber, sizeof kernelmsg::kEndNumber)) {
        TARN_LOG(kLogError, "Failed to copy end_number, buffer full");
        return 1;
    }
    finishMessage(group, dump);
    if (const int result = writeMessage(group, pathOf(key, group, directory))) {
        return result;
    }
    ++group.fileIndex;
    group.records = 0;
    return 0;
}

// What is left after the last rule. A path that is refused loses the message without an error; hosts count on it.
int flushLast(const GroupKey& key, MessageGroup& group, const std::string& directory, bool dump) {
    MessageBuffer& message = group.message;
    const std::size_t remaining = kernelmsg::kMessageCapacity - message.used;
    if (remaining < sizeof kernelmsg::kEndNumber) {
        TARN_LOG(kLogError, "Not enough space for end_number, need 4, remaining %zu", remaining);
        return 1;
    }
    static_cast<void>(memcpy_s(message.cursor, remaining, &kernelmsg::kEndNumber, sizeof kernelmsg::kEndNumber));
    message.used += sizeof kernelmsg::kEndNumber;
    finishMessage(group, dump);
    const std::string path = pathOf(key, group, directory);
    if (!IsSafeAbsolutePath(path)) {
        TARN_LOG(kLogError, "Skip illegal local file path: %s", path.c_str());
        return 0;
    }
    return writeMessage(group, path);
}

void pushResult(std::vector<int>& results, std::mutex& mutex, int status) {
    const std::lock_guard<std::mutex> lock(mutex);
    results.push_back(status);
}

}  // namespace

int splitVector(const std::vector<PolicyNode>& nodes, int n, std::vector<std::vector<PolicyNode>>& slices) {
    if (n < 1) {
        TARN_LOG(kLogError, "###ERROR: in splitVector, wrong threadnum n");
        return 1;
    }
    const auto count = static_cast<std::size_t>(n);
    const std::size_t base = nodes.size() / count;
    const std::size_t rest = nodes.size() % count;
    auto begin = nodes.begin();
    for (std::size_t i = 0; i < count; ++i) {
        const auto end = begin + static_cast<std::ptrdiff_t>(base + (i < rest ? 1 : 0));
        slices[i] = std::vector<PolicyNode>(begin, end);
        begin = end;
    }
    return 0;
}

// The messages that one compiler thread builds, and the rules it has put into them.
struct PolicyModuleManagerInterface::Private::SliceCompiler {
    PolicyModuleManagerInterface& manager;
    const std::string& prefix;
    const std::string& directory;
    GroupMap groups;

    int addRecord(const GroupKey& key, MessageGroup& group, const PolicyNode& rule, const TARN_ID& subject,
                  const TARN_ID& object) {
        if (group.records == 0) {
            TARN_LOG(kLogDetail, "###INFO: 新的策略消息...");
            group.message.restart();
        }
        const unsigned int status =
            encodeRecord(manager, rule, subject, object, {group.message.cursor, group.message.used});
        if (status != 0) {
            TARN_LOG(kLogError, "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error");
            return static_cast<int>(status);
        }
        ++group.records;
        return group.records == kernelmsg::kRecordsPerMessage ? flushFull(key, group, directory, manager.logflag) : 0;
    }

    // One record for each pair, the objects of the first subject first.
    int addRule(const PolicyNode& rule) {
        const GroupKey key(rule.strGroup, rule.strNamespace, prefix);
        MessageGroup& group = groups[key];
        for (const TARN_ID& subject : rule.vecSubjectId) {
            for (const TARN_ID& object : rule.vecObjectId) {
                if (const int status = addRecord(key, group, rule, subject, object)) {
                    return status;
                }
            }
        }
        return 0;
    }

    int flushAll() {
        for (auto& [key, group] : groups) {
            if (group.records == 0) {
                continue;
            }
            if (const int status = flushLast(key, group, directory, manager.logflag)) {
                return status;
            }
        }
        return 0;
    }

    int compile(const std::vector<PolicyNode>& slice) {
        for (const PolicyNode& rule : slice) {
            if (const int status = addRule(rule)) {
                return status;
            }
        }
        return flushAll();
    }
};

int PolicyModuleManagerInterface::compileKernelPolicyThread(std::string prefix, std::vector<PolicyNode> slice,
                                                            std::string directory, std::vector<int>& results,
                                                            std::mutex& mutex) {
    const int status = Private::SliceCompiler{*this, prefix, directory, {}}.compile(slice);
    pushResult(results, mutex, status);
    return status;
}

int PolicyModuleManagerInterface::Private::compileSection(PolicyModuleManagerInterface& manager,
                                                          const std::string& section,
                                                          const std::vector<PolicyNode>& rules) {
    std::vector<std::vector<PolicyNode>> slices(manager.threadnum);
    if (splitVector(rules, manager.threadnum, slices) != 0) {
        return 1;
    }
    std::vector<int> results;
    const auto compileSlice = [&manager, &section, &slices, &results](int index) {
        try {
            manager.compileKernelPolicyThread(paths::slicePrefix(section, index),
                                              std::move(slices[static_cast<std::size_t>(index)]), paths::kPolicyDataTmp,
                                              results, g_mutex);
        } catch (const std::exception&) {  // out of memory; the section's line reports it
            pushResult(results, g_mutex, 1);
        }
    };
    std::vector<std::thread> threads;
    for (int index = 0; index < manager.threadnum; ++index) {
        try {
            threads.emplace_back(compileSlice, index);
        } catch (const std::system_error&) {  // a thread that can't be started has failed its slice
            pushResult(results, g_mutex, 1);
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return std::all_of(results.begin(), results.end(), [](int status) { return status == 0; }) ? 0 : 1;
}

int PolicyModuleManagerInterface::compileKernelPolicyMsg() {
    std::vector<std::pair<std::string, PolicyDb>> sections;
    {
        const std::lock_guard<std::mutex> lock(m_mutexPolicy);
        sections.assign(m_mapPolicy.begin(), m_mapPolicy.end());
    }
    for (const auto& [section, group] : sections) {
        if (Private::compileSection(*this, section, group.vecPolicy) != 0) {
            TARN_LOG(kLogError, "###ERROR: in compileKernelPolicyMsg, process %s error", section.c_str());
            return 1;
        }
    }
    return 0;
}
