// Runs a harness over files, as an ordinary test and without a fuzzer: each argument is a file or a folder of files.
// Files that end with .hex hold annotated hex. With --seeds FOLDER first, the bytes are also written there, one file
// each, for a fuzzer to begin with.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/Golden.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::string bytesOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(stream), {});
    return file.extension() == ".hex" ? golden::bytesOf(bytes) : bytes;
}

std::vector<fs::path> filesOf(const fs::path& path) {
    std::vector<fs::path> files;
    if (!fs::is_directory(path)) {
        files.push_back(path);
        return files;
    }
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    return files;
}

int run(std::vector<std::string> paths) {
    fs::path seeds;
    if (paths.size() >= 2 && paths[0] == "--seeds") {
        seeds = paths[1];
        paths.erase(paths.begin(), paths.begin() + 2);
        fs::create_directories(seeds);
    }
    std::size_t inputs = 0;
    for (const std::string& path : paths) {
        for (const fs::path& file : filesOf(path)) {
            const std::string bytes = bytesOf(file);
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            if (!seeds.empty()) {
                std::ofstream(seeds / file.stem(), std::ios::binary) << bytes;
            }
            ++inputs;
        }
    }
    std::printf("%zu inputs\n", inputs);
    return inputs == 0 ? 1 : 0;  // a replay of nothing proves nothing
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "replay: %s\n", error.what());
        return 1;
    }
}
