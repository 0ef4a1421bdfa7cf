#include "support/Files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace fs = std::filesystem;

namespace testfiles {

std::string read(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const std::string& path, const std::string& content) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content;
    if (!stream.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

bool exists(const std::string& path) {
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

unsigned int mode(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? static_cast<unsigned int>(status.st_mode) & 07777U : 0U;
}

std::vector<std::string> list(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void makeDirectories(const std::string& path) {
    fs::create_directories(path);
}

void link(const std::string& target, const std::string& path) {
    fs::create_symlink(target, path);
}

void awaitNextTimeStamp(const std::string& directory) {
    const std::string path = directory + "/time-stamp";
    const auto now = [&path] {
        write(path, "");
        struct stat status {};
        if (lstat(path.c_str(), &status) != 0) {
            throw std::runtime_error("cannot look at " + path);
        }
        fs::remove(path);
        return std::make_pair(status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
    };
    const auto before = now();
    while (now() == before) {
    }
}

int openDescriptors() {
    // The walk itself holds one descriptor.
    return static_cast<int>(list("/proc/self/fd").size()) - 1;
}

}  // namespace testfiles
