// The statuses of the free functions' public header.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <vector>

#include "Common/Common.h"
#include "support/StatusTables.h"
#include "support/WriteFaults.h"

namespace {

using statustables::clearFolder;
using statustables::documented;
using statustables::Header;
using statustables::readHeader;
using statustables::testsOf;

constexpr char kHeader[] = TARN_SOURCE_DIR "/src/Common/Common.h";

// A tree, a file and nothing at "/etc/tarn/new". The free functions keep nothing from one call to the next.
struct Machine {
    static void reset() {
        clearFolder("/etc/tarn");
        testfiles::write("/etc/tarn/tree/folder/file", "in the folder\n");
        testfiles::write("/etc/tarn/tree/file", "in the tree\n");
        testfiles::write("/etc/tarn/file", "a\nb\n");
    }
};

struct Provoked : statustables::Provoked<Machine> {
    explicit Provoked(const std::string& operation) : statustables::Provoked<Machine>(kHeader, operation) {}
};

const auto kNothing = [](Machine&) {};

// While it lives no file can be opened.
class NoDescriptors {
public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{0, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit before_{};
};

// ---- One test for each function, named after it

TEST(CommonStatusesOf, validate_mount_point) {
    Provoked provoked("validate_mount_point");
    for (const char* path : {"", "/", "/proc", "relative", "/a/", "/a//b", "/a/../b", "/a\tb", "/etc/tarn/no mount"}) {
        provoked.by([path](Machine&) { return validate_mount_point(path, "path"); });
    }
    for (const char* path : {"/etc/tarn/tree", "/etc/tarn/file", "/etc/tarn/new"}) {
        provoked.by([path](Machine&) {
            const NoDescriptors limit;
            return validate_mount_point(path, "path");
        });
    }
}

TEST(CommonStatusesOf, removeDirectory) {
    Provoked provoked("removeDirectory");
    for (const char* path : {"/tmp/tree", "/etc/tarn/tree/", "/etc/tarn/new", "/etc/tarn/file", "relative"}) {
        provoked.by([path](Machine&) { return removeDirectory(path); });
    }
    provoked.byFaults(kNothing, [](Machine&) { return removeDirectory("/etc/tarn/tree"); });
}

TEST(CommonStatusesOf, createDirectory) {
    Provoked provoked("createDirectory");
    for (const char* path : {"/tmp/tree", "/etc/tarn/tree", "/etc/tarn/new/below", "/etc/tarn/file"}) {
        provoked.by([path](Machine&) { return createDirectory(path); });
    }
    provoked.byFaults(kNothing, [](Machine&) { return createDirectory("/etc/tarn/new"); });
}

// What both renames are tried with; the target may exist.
template <typename Rename>
void renameInManyWays(Provoked& provoked, Rename rename) {
    const std::vector<std::pair<const char*, const char*>> ways = {{"/tmp/tree", "/etc/tarn/new"},
                                                                   {"/etc/tarn/tree", "/tmp/new"},
                                                                   {"/etc/tarn/missing", "/etc/tarn/new"},
                                                                   {"/etc/tarn/missing/tree", "/etc/tarn/new"},
                                                                   {"/etc/tarn/tree", "/etc/tarn/missing/new"},
                                                                   {"/etc/tarn/tree", "/etc/tarn/file"},
                                                                   {"/etc/tarn/tree", "/etc/tarn/tree/new"}};
    for (const auto& [from, to] : ways) {
        provoked.by([&rename, from = from, to = to](Machine&) { return rename(from, to); });
    }
    const auto ontoATree = [](Machine&) { testfiles::write("/etc/tarn/old/file", "old\n"); };
    provoked.byFaults(kNothing, [&rename](Machine&) { return rename("/etc/tarn/tree", "/etc/tarn/new"); });
    provoked.byFaults(ontoATree, [&rename](Machine&) { return rename("/etc/tarn/tree", "/etc/tarn/old"); });
}

TEST(CommonStatusesOf, renameFile) {
    Provoked provoked("renameFile");
    renameInManyWays(provoked, renameFile);
}

TEST(CommonStatusesOf, renameDir) {
    Provoked provoked("renameDir");
    renameInManyWays(provoked, renameDir);
}

template <typename Copy>
void copyInManyWays(Provoked& provoked, Copy copy, const char* from) {
    provoked.by([&copy](Machine&) { return copy("/tmp/from", "/etc/tarn/new"); });
    provoked.by([&copy, from](Machine&) { return copy(from, "/tmp/to"); });
    provoked.by([&copy](Machine&) { return copy("/etc/tarn/missing", "/etc/tarn/new"); });
    provoked.by([&copy, from](Machine&) { return copy(from, "/etc/tarn/missing/new"); });
    provoked.by([&copy](Machine&) { return copy("/etc/tarn/file", "/etc/tarn/tree"); });
    provoked.by([&copy](Machine&) { return copy("/etc/tarn/tree", "/etc/tarn/file"); });
    provoked.byFaults(kNothing, [&copy, from](Machine&) { return copy(from, "/etc/tarn/new"); });
}

TEST(CommonStatusesOf, copyFile) {
    Provoked provoked("copyFile");
    copyInManyWays(provoked, copyFile, "/etc/tarn/file");
}

TEST(CommonStatusesOf, copyDirectory) {
    Provoked provoked("copyDirectory");
    copyInManyWays(provoked, copyDirectory, "/etc/tarn/tree");
}

TEST(CommonStatusesOf, writeFileData) {
    Provoked provoked("writeFileData");
    const auto writeTo = [](const char* path) {
        return writeFileData(path, "data", 4, O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW);
    };
    for (const char* path : {"/tmp/file", "/etc/tarn/tree", "/etc/tarn/missing/file", "/etc/tarn/file"}) {
        provoked.by([&writeTo, path](Machine&) { return writeTo(path); });
    }
    provoked.byFaults(kNothing, [&writeTo](Machine&) { return writeTo("/etc/tarn/new"); });
    provoked.by([&writeTo](Machine&) {
        const WriteFaults refusal({{"/etc/tarn/file", EPROTO}});
        return writeTo("/etc/tarn/file");
    });
}

// Both readers; a path outside the trees is refused by one of them alone.
template <typename Read>
void readInManyWays(Provoked& provoked, Read read) {
    const auto empty = [](Machine&) { testfiles::write("/etc/tarn/empty", ""); };
    for (const char* path : {"/etc/tarn/file", "/etc/tarn/missing", "/etc/tarn/empty", "/etc/tarn/tree",
                             "/etc/./tarn/file", "/tmp/missing", "/etc/tarn/file/below"}) {
        provoked.by(empty, [&read, path](Machine&) { return read(path); });
    }
    provoked.byFaults(kNothing, [&read](Machine&) { return read("/etc/tarn/file"); });
}

TEST(CommonStatusesOf, readFileToVecImpl) {
    Provoked provoked("readFileToVecImpl");
    for (const bool escapeCheckOnly : {false, true}) {
        readInManyWays(provoked, [escapeCheckOnly](const char* path) {
            std::vector<std::string> lines;
            return readFileToVecImpl(path, lines, escapeCheckOnly);
        });
    }
}

TEST(CommonStatusesOf, readFileToVec) {
    Provoked provoked("readFileToVec");
    readInManyWays(provoked, [](const char* path) {
        std::vector<std::string> lines;
        return readFileToVec(path, lines);
    });
}

TEST(CommonStatusTables, StandForEveryFunctionThatReturnsAStatus) {
    const Header header = readHeader(kHeader);
    EXPECT_EQ(documented(header), header.operations);
    EXPECT_GE(header.tables.size(), 10U);
}

TEST(CommonStatusTables, AreAllProvokedByATestOfTheirName) {
    EXPECT_EQ(testsOf("CommonStatusesOf"), readHeader(kHeader).operations);
}

}  // namespace
