#include "CompiledSet.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>

#include "Common/Common.h"
#include "Common/Handles.h"
#include "Failure.h"
#include "Files.h"
#include "libtarnpolicysync/Paths.h"

namespace {

constexpr char kFirstLine[] = "tarn-policy: full compilation, variables to set, messages\n";

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

}  // namespace

std::vector<std::string> messagesInOrder() {
    const UniqueDir stream(opendir(paths::kPolicyDataTmp));
    if (!stream) {
        const int error = errno;
        throw Failure(ExitCode::kFailed, std::string("list ") + paths::kPolicyDataTmp, std::strerror(error),
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

void FullCompilationNote::write(const std::vector<Variable>& variables) {
    std::string text = kFirstLine + std::to_string(variables.size()) + "\n";
    for (const Variable& variable : variables) {
        text += formatSaved(variable) + "\n";
    }
    // A whole file under a name of its own and then a rename: a note that is cut short would hold for nothing.
    const std::string temporary = std::string(kPath) + ".new";
    writeWholeFile(temporary, text + manifest());
    if (rename(temporary.c_str(), kPath) != 0) {
        throw Failure(ExitCode::kFailed, "rename " + temporary, std::strerror(errno), "");
    }
}

void FullCompilationNote::remove() {
    if (unlink(kPath) != 0 && errno != ENOENT) {
        throw Failure(ExitCode::kFailed, std::string("remove ") + kPath, std::strerror(errno), "run as root");
    }
}

std::optional<std::vector<Variable>> FullCompilationNote::read() {
    if (!fileExists(kPath)) {
        return std::nullopt;
    }
    std::istringstream stream(readWholeFile(kPath));
    std::string line;
    if (!std::getline(stream, line) || line + "\n" != kFirstLine || !std::getline(stream, line)) {
        return std::nullopt;
    }
    std::vector<Variable> variables;
    for (unsigned long count = std::strtoul(line.c_str(), nullptr, 10); count > 0 && std::getline(stream, line);
         --count) {
        if (const std::optional<Variable> variable = parseSaved(line)) {
            variables.push_back(*variable);
        }
    }
    const std::string rest((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    if (rest != manifest()) {
        return std::nullopt;
    }
    return variables;
}
