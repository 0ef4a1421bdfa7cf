#include "libtarnmessage/SetReader.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Common/Handles.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnpolicysync/Paths.h"

namespace tarnmessage {

namespace {

// Adds up the records of a set and keeps the announced functions.
class Collector : public MessageVisitor {
public:
    explicit Collector(SetVisitor& next) : next_(next) {}
    void onHeader(const kernelmsg::MessageHeader& header) override { next_.onHeader(header); }
    void onNamespace(const NamespaceView& block) override {
        functions.add(block);
        next_.onNamespace(block);
    }
    void onPolicy(const PolicyRecordView& record) override {
        ++records;
        next_.onPolicy(record);
    }

    FunctionTable functions;
    std::uint64_t records = 0;

private:
    SetVisitor& next_;
};

struct Listing {
    std::vector<std::string> policies;
    std::vector<std::string> links;
    bool hasNamespaceMessage = false;
};

void listEntry(const std::string& directory, const std::string& name, Listing& listing) {
    if (name[0] == '.' || name == paths::kBeginName || name == paths::kEndName) {
        return;
    }
    if (name == paths::kNamespaceName) {
        listing.hasNamespaceMessage = true;
        return;
    }
    struct stat status {};
    if (lstat(paths::inDirectory(directory, name).c_str(), &status) != 0) {
        return;
    }
    if (S_ISLNK(status.st_mode)) {
        listing.links.push_back(name);
    } else if (S_ISREG(status.st_mode)) {
        listing.policies.push_back(name);
    }
}

int listDirectory(const std::string& directory, Listing& listing) {
    const UniqueDir stream(opendir(directory.c_str()));
    if (!stream) {
        return errno;
    }
    errno = 0;
    while (const dirent* entry = readdir(stream.get())) {
        listEntry(directory, entry->d_name, listing);
        errno = 0;
    }
    const int failure = errno;
    std::sort(listing.policies.begin(), listing.policies.end());
    std::sort(listing.links.begin(), listing.links.end());
    return failure;
}

std::string readProblem(int failure) {
    if (failure == ELOOP) {
        return "is a symbolic link, which is never followed";
    }
    return failure == EINVAL ? "is no regular file" : std::string("can't be read: ") + std::strerror(failure);
}

class SetWalk {
public:
    SetWalk(const std::string& directory, SetVisitor& visitor)
        : directory_(directory), visitor_(visitor), collector_(visitor) {}

    void readFile(const std::string& name, std::uint32_t type) {
        FileReport& file = report_.files.emplace_back();
        file.name = name;
        if (const int failure = readMessageFile(paths::inDirectory(directory_, name), bytes_); failure != 0) {
            file.problem = failure == ENOENT ? "is missing" : readProblem(failure);
            return;
        }
        visitor_.onFile(name);
        file.bytes = bytes_.size();
        file.finding = readHeader(bytes_, file.header);
        if (file.finding) {
            return;
        }
        if (file.header.type != type) {
            file.problem = "holds a message of the kind " + messageTypeText(file.header.type) + ", expected " +
                           messageTypeText(type);
            return;
        }
        const std::uint64_t before = collector_.records;
        ReadContext context;
        context.functions = lookUpFunctions_ ? &collector_.functions : nullptr;
        file.finding = parseMessage(bytes_, context, collector_);
        report_.records += file.finding ? 0 : collector_.records - before;
    }

    // Where the namespace message is unsound, calls can't be held against it.
    void readNamespaceMessage() {
        readFile(paths::kNamespaceName, kernelmsg::kTypeNamespace);
        lookUpFunctions_ = report_.files.back().sound();
    }

    void addLink(const std::string& name) {
        FileReport& file = report_.files.emplace_back();
        file.name = name;
        file.problem = readProblem(ELOOP);
    }

    SetReport finish() {
        report_.functions = std::move(collector_.functions);
        return std::move(report_);
    }

private:
    const std::string& directory_;
    SetVisitor& visitor_;
    Collector collector_;
    SetReport report_;
    std::string bytes_;
    bool lookUpFunctions_ = true;
};

}  // namespace

bool SetReport::sound() const {
    return problem.empty() &&
           std::all_of(files.begin(), files.end(), [](const FileReport& file) { return file.sound(); });
}

int readMessageFile(const std::string& path, std::string& bytes) {
    // Non-blocking, for a FIFO in place of the file would hold the open until somebody writes.
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file.valid() || fstat(file.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    bytes.resize(kernelmsg::kMessageCapacity + 1);
    std::size_t used = 0;
    while (used < bytes.size()) {
        const ssize_t count = read(file.get(), bytes.data() + used, bytes.size() - used);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return errno;
        }
        if (count == 0) {
            break;
        }
        used += static_cast<std::size_t>(count);
    }
    bytes.resize(used);
    return 0;
}

SetReport readSet(const std::string& directory, SetVisitor& visitor) {
    Listing listing;
    if (const int failure = listDirectory(directory, listing); failure != 0) {
        SetReport report;
        report.problem = std::string("can't be read: ") + std::strerror(failure);
        return report;
    }
    SetWalk walk(directory, visitor);
    walk.readFile(paths::kBeginName, kernelmsg::kTypeBegin);
    if (listing.hasNamespaceMessage) {
        walk.readNamespaceMessage();
    }
    for (const std::string& name : listing.policies) {
        walk.readFile(name, kernelmsg::kTypePolicy);
    }
    for (const std::string& name : listing.links) {
        walk.addLink(name);
    }
    walk.readFile(paths::kEndName, kernelmsg::kTypeEnd);
    return walk.finish();
}

SetReport readSet(const std::string& directory) {
    SetVisitor nobody;
    return readSet(directory, nobody);
}

}  // namespace tarnmessage
