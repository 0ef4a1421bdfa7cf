#include "libtarnmessage/SetWalk.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "Common/Handles.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnpolicysync/Paths.h"

namespace tarnmessage {

namespace {

struct Listing {
    std::vector<std::string> policies;
    std::vector<std::string> links;
    std::vector<std::pair<std::string, PassedOver>> passedOver;
    bool hasNamespaceMessage = false;
};

void listEntry(int directory, const std::string& name, Listing& listing) {
    if (name == "." || name == ".." || name == paths::kBeginName || name == paths::kEndName) {
        return;
    }
    if (name == paths::kNamespaceName) {
        listing.hasNamespaceMessage = true;
        return;
    }
    if (name[0] == '.') {
        listing.passedOver.emplace_back(name, PassedOver::kHidden);
        return;
    }
    struct stat status {};
    if (fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return;  // gone in the meantime
    }
    if (S_ISLNK(status.st_mode)) {
        listing.links.push_back(name);
    } else if (S_ISREG(status.st_mode)) {
        listing.policies.push_back(name);
    } else {
        listing.passedOver.emplace_back(name, S_ISDIR(status.st_mode) ? PassedOver::kDirectory : PassedOver::kOther);
    }
}

int listDirectory(const std::string& directory, Listing& listing) {
    const UniqueDir stream(opendir(directory.c_str()));
    if (!stream) {
        return errno;
    }
    errno = 0;
    while (const dirent* entry = readdir(stream.get())) {
        listEntry(dirfd(stream.get()), entry->d_name, listing);
        errno = 0;
    }
    const int failure = errno;
    std::sort(listing.policies.begin(), listing.policies.end());
    std::sort(listing.links.begin(), listing.links.end());
    std::sort(listing.passedOver.begin(), listing.passedOver.end());
    return failure;
}

std::string readProblem(int failure) {
    if (failure == ELOOP) {
        return kLinkProblem;
    }
    return failure == EINVAL ? "is no regular file" : std::string("can't be read: ") + std::strerror(failure);
}

// The only kind of message that belongs into a file of this name in a set.
std::uint32_t typeByName(const std::string& name) {
    if (name == paths::kBeginName) {
        return kernelmsg::kTypeBegin;
    }
    if (name == paths::kEndName) {
        return kernelmsg::kTypeEnd;
    }
    return name == paths::kNamespaceName ? kernelmsg::kTypeNamespace : kernelmsg::kTypePolicy;
}

}  // namespace

// One walk. Passes everything on, counts records and keeps the announced functions.
class SetWalk::Run : public MessageVisitor {
public:
    Run(FunctionTable& functions, WalkVisitor& visitor) : functions_(functions), visitor_(visitor) {}

    void onHeader(const kernelmsg::MessageHeader& header) override { visitor_.onHeader(header); }
    void onNamespace(const NamespaceView& block) override {
        functions_.add(block);
        visitor_.onNamespace(block);
    }
    void onPolicy(const PolicyRecordView& record) override {
        ++records_;
        visitor_.onPolicy(record);
    }

    void walkDirectory(const std::string& directory) {
        outcome.isDirectory = true;
        Listing listing;
        if (const int failure = listDirectory(directory, listing); failure != 0) {
            failPath(failure);
            return;
        }
        for (const auto& [name, why] : listing.passedOver) {
            visitor_.onPassedOver(name, why);
        }
        lookUpFunctions_ = true;
        readNamed(directory, paths::kBeginName);
        if (listing.hasNamespaceMessage) {
            // Where the namespace message is unsound, calls can't be held against it.
            lookUpFunctions_ = readNamed(directory, paths::kNamespaceName);
        }
        for (const std::string& name : listing.policies) {
            readNamed(directory, name);
        }
        for (const std::string& name : listing.links) {
            passOverLink(name);
        }
        readNamed(directory, paths::kEndName);
    }

    // A single message may be of any kind, under any name.
    void walkFile(const std::string& path) {
        const std::string name = baseName(path);
        if (name != paths::kNamespaceName) {
            readAnnouncements(paths::inDirectory(folderOf(path), paths::kNamespaceName));
        }
        if (const int failure = file_.read(path); failure != 0) {
            failPath(failure);
            return;
        }
        readMessage(name, std::nullopt);
    }

    void failPath(int failure) {
        outcome.error = failure;
        outcome.problem = readProblem(failure);
    }

    WalkOutcome outcome;

private:
    bool goesOn() {
        outcome.stopped = outcome.stopped || !visitor_.goesOn();
        return !outcome.stopped;
    }

    bool readNamed(const std::string& directory, const std::string& name) {
        if (!goesOn()) {
            return false;
        }
        if (const int failure = file_.read(paths::inDirectory(directory, name)); failure != 0) {
            FileReport report;
            report.name = name;
            report.missing = failure == ENOENT;
            report.problem = report.missing ? "is missing" : readProblem(failure);
            report.error = failure == ENOENT || failure == ELOOP || failure == EINVAL ? 0 : failure;
            end(report);
            return false;
        }
        return readMessage(name, typeByName(name));
    }

    bool readMessage(const std::string& name, std::optional<std::uint32_t> type) {
        FileReport report;
        report.name = name;
        report.bytes = file_.bytes().size();
        report.status = file_.status();
        visitor_.onFile(name, file_.bytes());
        const std::uint64_t before = records_;
        report.finding = readHeader(file_.bytes(), report.header);
        if (!report.finding && type && report.header.type != *type) {
            report.problem = "holds a message of the kind " + messageTypeText(report.header.type) + ", expected " +
                             messageTypeText(*type);
        } else if (!report.finding) {
            ReadContext context;
            context.functions = lookUpFunctions_ ? &functions_ : nullptr;
            report.finding = parseMessage(file_.bytes(), context, *this);
        }
        outcome.records += report.sound() ? records_ - before : 0;
        end(report);
        return report.sound();
    }

    void readAnnouncements(const std::string& path) {
        class Announcements : public MessageVisitor {
        public:
            explicit Announcements(FunctionTable& functions) : functions_(functions) {}
            void onNamespace(const NamespaceView& block) override { functions_.add(block); }

        private:
            FunctionTable& functions_;
        };
        FunctionTable announced;
        Announcements visitor(announced);
        kernelmsg::MessageHeader header{};
        lookUpFunctions_ = file_.read(path) == 0 && !readHeader(file_.bytes(), header) &&
                           header.type == kernelmsg::kTypeNamespace && !parseMessage(file_.bytes(), {}, visitor);
        if (lookUpFunctions_) {
            functions_ = std::move(announced);
        }
    }

    void passOverLink(const std::string& name) {
        if (goesOn()) {
            ++outcome.links;
            visitor_.onPassedOver(name, PassedOver::kLink);
        }
    }

    void end(const FileReport& report) {
        ++outcome.files;
        outcome.unsound += report.sound() ? 0 : 1;
        outcome.unreadable += report.error != 0 ? 1 : 0;
        visitor_.onFileEnd(report);
    }

    FunctionTable& functions_;
    WalkVisitor& visitor_;
    MessageFile file_;
    std::uint64_t records_ = 0;
    bool lookUpFunctions_ = false;
};

std::string WalkOutcome::linkWarning() const {
    if (links == 0) {
        return "";
    }
    return std::to_string(links) + (links == 1 ? " symbolic link is" : " symbolic links are") +
           " no part of the set and passed over, as the sender does";
}

SetWalk::SetWalk(std::string path) : path_(std::move(path)) {}

WalkOutcome SetWalk::run(WalkVisitor& visitor) {
    functions_ = FunctionTable();
    Run run(functions_, visitor);
    struct stat status {};
    if (stat(path_.c_str(), &status) != 0) {
        run.failPath(errno);
    } else if (S_ISDIR(status.st_mode)) {
        run.walkDirectory(path_);
    } else {
        run.walkFile(path_);
    }
    return run.outcome;
}

std::string SetWalk::trimmed(const std::string& path) {
    const std::size_t last = path.find_last_not_of('/');
    return last == std::string::npos ? path.substr(0, 1) : path.substr(0, last + 1);
}

std::string SetWalk::baseName(const std::string& path) {
    const std::string whole = trimmed(path);
    return whole.substr(whole.rfind('/') + 1);
}

std::string SetWalk::folderOf(const std::string& path) {
    const std::string whole = trimmed(path);
    const std::size_t slash = whole.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : trimmed(whole.substr(0, slash));
}

}  // namespace tarnmessage
