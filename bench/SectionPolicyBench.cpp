// A set of 1,000 message files, delivered, and one section of it compiled again: against the full compilation. Once as
// on a running machine, where the finished set is copied first, and once into a set that waits.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bench.h"
#include "support/Rules.h"

namespace {

// One rule a file, so that the number of files does not depend on the threads: 1,000 records, 100 KB.
constexpr std::size_t kSubjects = 10;
constexpr std::size_t kObjects = 100;
constexpr std::size_t kFilesOfSection = 10;

std::string groupOf(std::size_t file) {
    return "g" + std::to_string(file / kFilesOfSection);
}

// A key and a file for each number, ten of them in one section.
void handFile(bench::Manager& manager, std::size_t file) {
    std::vector<PolicyNode> rules{bench::plainRule(file, kSubjects, kObjects)};
    rules.back().strGroup = groupOf(file);
    bench::hand(manager, "key" + std::to_string(file), std::move(rules));
}

void removeWaitingSet() {
    std::filesystem::remove_all(paths::kPolicyDataTmp);
    bench::require(createDirectory(paths::kPolicyDataTmp) == 0, "no folder for the set");
    bench::emptyPolicyFolder();  // waits for the file system, too
    std::filesystem::remove(paths::kPolicyDataTmp);
}

bench::Time compileAll(bench::Manager& manager) {
    removeWaitingSet();
    unsigned int status = 1;
    const bench::Time time = bench::timed([&] { status = manager.compileData(); });
    bench::require(status == 0, "the compilation failed");
    return time;
}

bench::Time compileOne(bench::Manager& manager, const std::string& group, const bench::FolderContent& whole) {
    unsigned int status = 1;
    const bench::Time time = bench::timed([&] { status = manager.compileSectionPolicy("net", group); });
    bench::require(status == 0, "the section failed");
    // The records are as many; the section's own come in one file for each thread.
    const bench::FolderContent content = bench::policyFolder();
    bench::require(content.files == whole.files - kFilesOfSection + manager.threadnum,
                   std::to_string(content.files) + " files, of " + std::to_string(whole.files) + " before");
    return time;
}

}  // namespace

int main(int count, char** arguments) {
    const bench::Options options = bench::start(count, arguments);
    const std::size_t files = options.smoke ? 2 * kFilesOfSection : 1000;
    std::ofstream("/etc/tarn/labels.json")
        << R"({"format": "tarn-labels", "version": 1, "labels": {"subject_file": {"/a": [[1, 2, 3]]}}})";
    for (const unsigned int threads : {1U, 2U}) {
        bench::Manager manager(threads);
        bench::require(manager.setFileToGetLabelMap("subject_file", "/a") == 0, "a name is refused");
        for (std::size_t file = 0; file < files; ++file) {
            handFile(manager, file);
        }
        static_cast<void>(compileAll(manager));
        const bench::FolderContent whole = bench::policyFolder();
        bench::require(manager.finalizeTmpFile() == 0, "the set gets no final name");
        const std::string group = groupOf(files / 2);
        for (const bool copied : {true, false}) {
            bench::Row row{"section",           copied ? "section of a finished set" : "section of a set that waits",
                           "full compilation",  threads,
                           bench::Bound::kNone, 0};
            row.result = bench::compare(
                options,
                [&] {
                    removeWaitingSet();
                    if (!copied) {
                        bench::require(copyDirectory(paths::kPolicyData, paths::kPolicyDataTmp) == 0, "no copy");
                        sync();
                    }
                    return compileOne(manager, group, whole);
                },
                [&] { return compileAll(manager); });
            bench::print(options, row);
        }
    }
    removeWaitingSet();
    return 0;
}
