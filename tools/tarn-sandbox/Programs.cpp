#include "Programs.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "Common/Handles.h"
#include "Failure.h"

namespace sandbox {

namespace {

bool isRunnable(const std::string& path) {
    return access(path.c_str(), X_OK) == 0;
}

template <class Record>
bool readAt(int fd, Record& record, std::uint64_t offset) {
    return pread(fd, &record, sizeof record, static_cast<off_t>(offset)) == static_cast<ssize_t>(sizeof record);
}

// Only a file with a loader of its own may be asked for its libraries: a static one would run instead.
bool hasLoader(int fd) {
    Elf64_Ehdr header{};
    if (!readAt(fd, header, 0) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64) {
        return false;
    }
    for (unsigned int i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr segment{};
        if (readAt(fd, segment, header.e_phoff + std::uint64_t{i} * header.e_phentsize) &&
            segment.p_type == PT_INTERP) {
            return true;
        }
    }
    return false;
}

std::string scriptInterpreter(int fd) {
    std::array<char, 256> head{};
    const ssize_t length = pread(fd, head.data(), head.size() - 1, 0);
    if (length < 2 || head[0] != '#' || head[1] != '!') {
        return {};
    }
    std::istringstream line(head.data() + 2);
    std::string interpreter;
    line >> interpreter;
    return interpreter;
}

// The loader lists what it would load when this variable is set, and ends before the program's own code.
std::string loaderList(const std::string& path) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        failWithErrno("cannot make a pipe");
    }
    const UniqueFd readEnd(ends[0]);
    UniqueFd writeEnd(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
        dup2(writeEnd.get(), STDOUT_FILENO);
        setenv("LD_TRACE_LOADED_OBJECTS", "1", 1);
        unsetenv("LD_PRELOAD");
        execl(path.c_str(), path.c_str(), static_cast<char*>(nullptr));
        _exit(1);
    }
    writeEnd.reset();
    std::string text;
    std::array<char, 4096> block{};
    for (ssize_t count = 0; (count = read(readEnd.get(), block.data(), block.size())) > 0;) {
        text.append(block.data(), static_cast<std::size_t>(count));
    }
    waitpid(child, nullptr, 0);
    return text;
}

}  // namespace

std::string findProgram(const std::string& command) {
    if (command.find('/') != std::string::npos) {
        return isRunnable(command) ? command : std::string();
    }
    const char* path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string candidate = (folder.empty() ? "." : folder) + "/" + command;
        if (isRunnable(candidate)) {
            return candidate;
        }
    }
    return {};
}

std::vector<std::string> needsOf(const std::string& path) {
    std::vector<std::string> needs;
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.valid() || !isRunnable(path)) {
        return needs;
    }
    const std::string interpreter = scriptInterpreter(fd.get());
    if (!interpreter.empty()) {
        needs.push_back(interpreter);
    } else if (hasLoader(fd.get())) {
        std::istringstream words(loaderList(path));
        for (std::string word; words >> word;) {
            if (word[0] == '/') {
                needs.push_back(word);
            }
        }
    }
    return needs;
}

}  // namespace sandbox
