#include "CompiledSet.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <set>
#include <sstream>

#include "Common/Common.h"
#include "Common/Handles.h"
#include "Failure.h"
#include "Files.h"
#include "libtarnpolicysync/Paths.h"

namespace {

constexpr char kFirstLine[] = "tarn-policy: full compilation, variables to set, messages\n";

constexpr char kUnfinishedLine[] = "tarn-policy: a compilation that is not finished\n";

bool isRegular(int directory, const char* name) {
    struct stat status {};
    return fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode);
}

// One line per message: name, size and CRC-32.
std::string manifest() {
    std::vector<std::string> names = messagesInOrder();
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string& name : names) {
        const std::string bytes = readWholeFile(paths::inDirectory(paths::kPolicyDataTmp, name));
        text += name + " " + std::to_string(bytes.size()) + " " +
                std::to_string(crc32(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size())) + "\n";
    }
    return text;
}

struct NoteText {
    std::vector<Variable> variables;
    std::string manifest;
};

// Nothing where there is no note or it is none of ours.
std::optional<NoteText> readNote() {
    if (!fileExists(FullCompilationNote::kPath)) {
        return std::nullopt;
    }
    std::istringstream stream(readWholeFile(FullCompilationNote::kPath));
    std::string line;
    if (!std::getline(stream, line) || line + "\n" != kFirstLine || !std::getline(stream, line)) {
        return std::nullopt;
    }
    NoteText note;
    for (unsigned long count = std::strtoul(line.c_str(), nullptr, 10); count > 0 && std::getline(stream, line);
         --count) {
        if (const std::optional<Variable> variable = parseSaved(line)) {
            note.variables.push_back(*variable);
        }
    }
    note.manifest.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    return note;
}

// The file before this one in its numbered series; empty for the first one, and for names without a number. Numbers have
// no leading zeros.
std::string predecessor(const std::string& name) {
    constexpr std::size_t kMostDigits = 9;
    const std::size_t digits = name.size() - 1 - std::min(name.find_last_not_of("0123456789"), name.size() - 1);
    const std::size_t start = name.size() - digits;
    if (digits == 0 || digits > kMostDigits || start == 0 || name[start - 1] != '_' || name[start] == '0') {
        return "";
    }
    return name.substr(0, start) + std::to_string(std::stoul(name.substr(start)) - 1);
}

}  // namespace

std::vector<std::string> messagesInOrder(const std::string& directory) {
    const UniqueDir stream(opendir(directory.c_str()));
    if (!stream) {
        const int error = errno;
        throw Failure(ExitCode::kFailed, "list " + directory, std::strerror(error),
                      error == EACCES ? "run as root" : "compile again");
    }
    std::vector<std::string> policies;
    while (const dirent* entry = readdir(stream.get())) {
        const std::string name = entry->d_name;
        if (name[0] != '.' && !paths::isFrameMessage(name) && isRegular(dirfd(stream.get()), entry->d_name)) {
            policies.push_back(name);
        }
    }
    std::vector<std::string> order;
    for (const char* frame : {paths::kBeginName, paths::kNamespaceName}) {
        if (isRegular(dirfd(stream.get()), frame)) {
            order.emplace_back(frame);
        }
    }
    order.insert(order.end(), policies.begin(), policies.end());
    if (isRegular(dirfd(stream.get()), paths::kEndName)) {
        order.emplace_back(paths::kEndName);
    }
    return order;
}

bool setExists() {
    struct stat status {};
    return lstat(paths::kPolicyDataTmp, &status) == 0;
}

std::vector<std::string> missingMessages(const std::string& directory, const std::vector<std::string>& listed) {
    const std::vector<std::string> order = messagesInOrder(directory);
    const std::set<std::string> present(order.begin(), order.end());
    std::set<std::string> missing;
    const auto require = [&](const std::string& name) {
        if (present.count(name) == 0) {
            missing.insert(name);
        }
    };
    for (const std::string& name : order) {
        const std::string before = predecessor(name);
        if (!before.empty()) {
            require(before);
        }
    }
    for (const std::string& name : listed) {
        require(name);
    }
    return {missing.begin(), missing.end()};
}

int takeEndMessageAway(const char* set) {
    const UniqueFd folder(open(set, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const bool away = folder.valid() && unlinkat(folder.get(), paths::kEndName, 0) == 0;
    return away || errno == ENOENT ? 0 : errno;
}

std::string spoilSet() {
    const int error = takeEndMessageAway(paths::kPolicyDataTmp);
    if (error == 0) {
        static_cast<void>(unlink(FullCompilationNote::kPath));  // it takes no note to refuse such a set
        return "the set has no end message, so that it cannot be sent";
    }
    return std::string("the set must not be sent, and its end message could not be taken away: ") +
           std::strerror(error) + "; remove " + paths::kPolicyDataTmp;
}

void FullCompilationNote::markUnfinished() {
    replaceWholeFile(kPath, kUnfinishedLine);
}

bool FullCompilationNote::unfinished() {
    return fileExists(kPath) && readWholeFile(kPath) == kUnfinishedLine;
}

void FullCompilationNote::write(const std::vector<Variable>& variables) {
    std::string text = kFirstLine + std::to_string(variables.size()) + "\n";
    for (const Variable& variable : variables) {
        text += formatSaved(variable) + "\n";
    }
    replaceWholeFile(kPath, text + manifest());
}

void FullCompilationNote::remove() {
    removeFile(kPath);
}

std::optional<std::vector<Variable>> FullCompilationNote::read() {
    const std::optional<NoteText> note = readNote();
    if (!note || note->manifest != manifest()) {
        return std::nullopt;
    }
    return note->variables;
}

std::vector<std::string> FullCompilationNote::messages() {
    std::vector<std::string> names;
    const std::optional<NoteText> note = readNote();
    std::istringstream stream(note ? note->manifest : "");
    for (std::string line; std::getline(stream, line);) {  // name, size, checksum; a name may hold blanks
        const std::size_t checksum = line.rfind(' ');
        const std::size_t size =
            checksum == std::string::npos || checksum == 0 ? std::string::npos : line.rfind(' ', checksum - 1);
        if (size != std::string::npos) {
            names.push_back(line.substr(0, size));
        }
    }
    return names;
}

bool FullCompilationNote::tellsOfLosses() {
    const std::optional<FileTimes> note = fileTimes(kPath);
    const std::optional<FileTimes> names = fileTimes(paths::kNamespaceMessage);
    const std::optional<FileTimes> set = fileTimes(paths::kPolicyDataTmp);
    return note && names && set && names->content <= note->status && note->status <= set->content;
}
