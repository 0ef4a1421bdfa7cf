#include "libtarnnames/SideFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <numeric>
#include <optional>

#include "Common/Handles.h"
#include "libtarnmessage/SetWalk.h"

namespace tarnnames {

namespace {

using tarnmessage::SetWalk;

constexpr std::size_t kMostBytes = std::size_t{64} << 20U;
constexpr char kSceneInfo[] = "scene_info";
constexpr char kFuncInfo[] = "funcinfo";
constexpr char kClassDefinitions[] = "class-def.conf";
constexpr char kClassFolder[] = "tarn-main/";

bool exists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

// The first of some names that lies in the first of some folders that has one of them.
std::string firstOf(const std::vector<std::string>& folders, const std::vector<std::string>& names) {
    for (const std::string& folder : folders) {
        for (const std::string& name : names) {
            std::string path = folder + (folder.back() == '/' ? "" : "/") + name;
            if (exists(path)) {
                return path;
            }
        }
    }
    return "";
}

std::vector<std::string> withTwin(const std::string& name, bool waitsForDelivery) {
    return waitsForDelivery ? std::vector<std::string>{"." + name, name} : std::vector<std::string>{name};
}

// The text up to its first NUL byte, line by line without empty ones, each with its number.
template <typename TakeLine>
void forEachLine(std::string_view text, TakeLine takeLine) {
    text = text.substr(0, text.find('\0'));
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!line.empty()) {
            takeLine(line, number);
        }
    }
}

std::vector<std::string> pieces(std::string_view text, char delimiter) {
    std::vector<std::string> found;
    while (!text.empty()) {
        const std::size_t end = text.find(delimiter);
        if (end != 0) {
            found.emplace_back(text.substr(0, end));
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return found;
}

// What stands before the digits and behind them does not matter; the low 32 bits count.
std::optional<std::uint32_t> numberOf(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const unsigned long value = std::strtoul(text.c_str(), &end, 10);
    if (end == text.c_str() || errno == ERANGE) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(value);
}

void addProblem(ProblemList& problems, std::size_t line, const char* expected) {
    problems.add("line " + std::to_string(line) + " is skipped: expected " + expected);
}

}  // namespace

SideFilePaths findSideFiles(const std::string& path, const std::string& etcDirectory) {
    struct stat status {};
    const bool isDirectory = stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    const std::string set = isDirectory ? SetWalk::trimmed(path) : SetWalk::folderOf(path);
    // "." and what ends in ".." have no name to cut; the folder above is reached through them.
    const std::string last = SetWalk::baseName(set);
    const bool hasName = last != "." && last != "..";
    std::vector<std::string> folders{hasName ? SetWalk::folderOf(set) : set + "/.."};
    if (!isDirectory) {
        folders.push_back(set);
    }
    if (!etcDirectory.empty()) {
        folders.push_back(etcDirectory);
    }
    const bool waits = hasName && last[0] == '.';
    SideFilePaths found;
    found.sceneInfo = firstOf(folders, withTwin(kSceneInfo, waits));
    found.funcInfo = firstOf(folders, withTwin(kFuncInfo, waits));
    found.classDefinitions = firstOf(folders, {std::string(kClassFolder) + kClassDefinitions, kClassDefinitions});
    return found;
}

void SceneInfo::add(std::string_view text, ProblemList& problems) {
    forEachLine(text, [&](std::string_view line, std::size_t number) {
        const std::vector<std::string> fields = pieces(line, ':');
        const std::optional<std::uint32_t> value = fields.size() == 2 ? numberOf(fields[0]) : std::nullopt;
        if (!value) {
            addProblem(problems, number, "NUMBER:NAMESPACE");
            return;
        }
        const auto [known, isNew] = numbers_.try_emplace(fields[1], *value);
        if (!isNew) {
            names_[known->second].erase(fields[1]);
            known->second = *value;
        }
        names_[*value].insert(fields[1]);
    });
}

const tarnmessage::NameSet& SceneInfo::names(std::uint32_t number) const {
    static const tarnmessage::NameSet kNone;
    const auto found = names_.find(number);
    return found == names_.end() ? kNone : found->second;
}

std::vector<std::uint32_t> SceneInfo::namedNumbers() const {
    std::vector<std::uint32_t> numbers;
    for (const auto& [number, names] : names_) {
        numbers.push_back(number);
    }
    return numbers;
}

void dropRepetitions(std::vector<std::string>& texts) {
    std::vector<std::size_t> places(texts.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    std::sort(places.begin(), places.end(), [&](std::size_t left, std::size_t right) {
        const int order = texts[left].compare(texts[right]);
        return order != 0 ? order < 0 : left < right;
    });
    const auto isSame = [&](std::size_t left, std::size_t right) { return texts[left] == texts[right]; };
    places.erase(std::unique(places.begin(), places.end(), isSame), places.end());
    std::sort(places.begin(), places.end());
    for (std::size_t index = 0; index < places.size(); ++index) {
        if (places[index] != index) {
            texts[index] = std::move(texts[places[index]]);
        }
    }
    texts.resize(places.size());
}

void FuncInfo::add(std::string_view text, ProblemList& problems) {
    forEachLine(text, [&](std::string_view line, std::size_t number) {
        const std::vector<std::string> fields = pieces(line, '#');
        if (fields.size() != 2) {
            addProblem(problems, number, "NAMESPACE#MODULE:FUNCTION,...");
            return;
        }
        for (const std::string& function : pieces(fields[1], ',')) {
            functions_[fields[0]].push_back(function);
        }
    });
    for (auto& [name, functions] : functions_) {
        dropRepetitions(functions);
    }
}

int readTextFile(const std::string& path, std::string& text) {
    text.clear();
    // Non-blocking: a FIFO in place of the file must not hold the open.
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file.valid() || fstat(file.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    char block[65536];
    while (text.size() <= kMostBytes) {
        const ssize_t count = read(file.get(), block, sizeof block);
        if (count == 0) {
            return 0;
        }
        if (count > 0) {
            text.append(block, static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return EFBIG;
}

}  // namespace tarnnames
