#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "Common/Log.h"

namespace {

constexpr char kConfigurationTree[] = "/etc/tarn/";
constexpr char kMountTable[] = "/proc/mounts";

const std::vector<std::string>& allowedPrefixes() {
    static const std::vector<std::string> kPrefixes{kConfigurationTree, "/sys/kernel/security/tarn/"};
    return kPrefixes;
}

// compare() cuts the piece to the path's length, so a path shorter than a prefix never equals it: "/etc/tarn" is
// refused.
bool liesUnderAllowedPrefix(const std::string& path) {
    const auto& prefixes = allowedPrefixes();
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [&path](const std::string& prefix) { return path.compare(0, prefix.size(), prefix) == 0; });
}

bool contains(const std::string& text, const char* piece) {
    return text.find(piece) != std::string::npos;
}

bool holdsTraversal(const std::string& path) {
    constexpr char kTail[] = "/..";
    constexpr std::size_t kTailLength = sizeof kTail - 1;
    const bool atEnd = path.size() >= kTailLength && path.compare(path.size() - kTailLength, kTailLength, kTail) == 0;
    return contains(path, "/../") || atEnd;
}

bool holdsControlCharacter(const std::string& path) {
    return std::any_of(path.begin(), path.end(), [](char c) { return static_cast<unsigned char>(c) < 32; });
}

// The rules on the text alone: 0, or -1 after one message.
int checkMountPointText(const std::string& path, const std::string& label) {
    const char* complaint = nullptr;
    if (path.back() == '/') {
        complaint = "validate_mount_point: %s 末尾不能带 '/'";
    } else if (contains(path, "//")) {
        complaint = "validate_mount_point: %s 包含连续的 '//'";
    } else if (holdsTraversal(path)) {
        complaint = "validate_mount_point: %s 包含路径穿越";
    } else if (holdsControlCharacter(path)) {
        complaint = "validate_mount_point: %s 包含控制字符";
    }
    if (complaint == nullptr) {
        return 0;
    }
    TARN_LOG(kLogError, complaint, label.c_str());
    return -1;
}

// The second field of a mount table line, as it stands; false for a line without two blanks.
bool mountPointOf(const std::string& line, std::string& mountPoint) {
    const std::size_t first = line.find(' ');
    if (first == std::string::npos || first + 1 == line.size()) {
        return false;
    }
    const std::size_t second = line.find(' ', first + 1);
    if (second == std::string::npos) {
        return false;
    }
    mountPoint = line.substr(first + 1, second - first - 1);
    return true;
}

bool isListedIn(std::istream& table, const std::string& path) {
    std::string line;
    std::string mountPoint;
    while (std::getline(table, line)) {
        if (mountPointOf(line, mountPoint) && mountPoint == path) {
            return true;
        }
    }
    return false;
}

int checkWithoutMountTable(const std::string& path, const std::string& label) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        TARN_LOG(kLogError, "validate_mount_point: %s 路径不存在或不是目录", label.c_str());
        return -3;
    }
    TARN_LOG(kLogNotice, "validate_mount_point: 无法读取 /proc/mounts，仅校验了路径存在性");
    return 0;
}

}  // namespace

bool pathExist(const char* name) {
    return access(name, F_OK) != -1;
}

bool HasPathEscape(const std::string& path) {
    return contains(path, "../") || contains(path, "./") || contains(path, "\\");
}

bool IsSafeAbsolutePath(const std::string& path) {
    if (path.empty() || path.front() != '/' || HasPathEscape(path) || !liesUnderAllowedPrefix(path)) {
        return false;
    }
    if (!pathExist(path.c_str())) {
        return true;
    }
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    const std::unique_ptr<char, Free> resolved(realpath(path.c_str(), nullptr));
    return resolved != nullptr && liesUnderAllowedPrefix(resolved.get());
}

bool SafeDirectoryExists(const std::string& path) {
    if (!IsSafeAbsolutePath(path)) {
        TARN_LOG(kLogError, "Illegal path in directoryExists: %s", path.c_str());
        return false;
    }
    return pathExist(path.c_str());
}

bool SafeMountPrefixConcat(const std::string& prefix, const std::string& inner, std::string& out) {
    if (HasPathEscape(prefix)) {
        TARN_LOG(kLogError, "Mount prefix contains escape char: %s", prefix.c_str());
        return false;
    }
    if (!prefix.empty() && prefix.front() != '/') {
        return false;
    }
    const std::string tree = kConfigurationTree;
    if (inner.compare(0, tree.size(), tree) != 0) {
        TARN_LOG(kLogError, "Inner dir must under %s", kConfigurationTree);
        return false;
    }
    std::string joined = prefix;
    if (!joined.empty() && joined.back() == '/') {
        joined.pop_back();
    }
    out = joined + inner;
    return !HasPathEscape(out);
}

int validate_mount_point(const std::string& path, const std::string& label) {
    if (path.empty()) {
        return 0;  // no prefix at all is the plain tree
    }
    if (path.front() != '/') {
        TARN_LOG(kLogError, "validate_mount_point: %s 不是绝对路径", label.c_str());
        return -1;
    }
    if (path == "/") {
        return 0;
    }
    if (checkMountPointText(path, label) != 0) {
        return -1;
    }
    std::ifstream table(kMountTable);
    if (!table.is_open()) {
        return checkWithoutMountTable(path, label);
    }
    if (isListedIn(table, path)) {
        return 0;
    }
    TARN_LOG(kLogError, "validate_mount_point: %s 不是有效的挂载点", label.c_str());
    return -2;
}
