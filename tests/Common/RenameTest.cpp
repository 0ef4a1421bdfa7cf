// Renaming files and directories.
#include <fcntl.h>

#include <stdexcept>

#include "TreeFixture.h"

namespace {

class RenameFile : public TreeTest {};
class RenameDir : public TreeTest {};

}  // namespace

TEST_F(RenameFile, movesAFile) {
    testfiles::write("/etc/tarn/a", "content");
    EXPECT_EQ(renameFile("/etc/tarn/a", "/etc/tarn/b"), 0);
    EXPECT_FALSE(testfiles::exists("/etc/tarn/a"));
    EXPECT_EQ(testfiles::read("/etc/tarn/b"), "content");
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(RenameFile, movesIntoAnotherDirectory) {
    testfiles::write("/etc/tarn/d/a", "content");
    testfiles::makeDirectories("/etc/tarn/e");
    EXPECT_EQ(renameFile("/etc/tarn/d/a", "/etc/tarn/e/b"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/e/b"), "content");
}

TEST_F(RenameFile, replacesAnExistingFile) {
    testfiles::write("/etc/tarn/a", "new");
    testfiles::write("/etc/tarn/b", "old and longer");
    EXPECT_EQ(renameFile("/etc/tarn/a", "/etc/tarn/b"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/b"), "new");
}

TEST_F(RenameFile, movesADirectory) {
    testfiles::write("/etc/tarn/d/file", "content");
    EXPECT_EQ(renameFile("/etc/tarn/d", "/etc/tarn/e"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/e/file"), "content");
}

TEST_F(RenameFile, movesALinkAsALink) {
    testfiles::write("/etc/tarn/file", "content");
    testfiles::link("/etc/tarn/file", "/etc/tarn/a");
    EXPECT_EQ(renameFile("/etc/tarn/a", "/etc/tarn/b"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/file"), "content");
    EXPECT_FALSE(testfiles::exists("/etc/tarn/a"));
    EXPECT_EQ(testfiles::mode("/etc/tarn/b"), 0777U) << "a link, not the file";
}

TEST_F(RenameFile, refusesASourceOutsideTheTrees) {
    testfiles::write("/etc/outside", "x");
    EXPECT_EQ(renameFile("/etc/outside", "/etc/tarn/b"), -1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: renameFile illegal path"));
    EXPECT_TRUE(testfiles::exists("/etc/outside"));
}

TEST_F(RenameFile, refusesATargetOutsideTheTrees) {
    testfiles::write("/etc/tarn/a", "x");
    EXPECT_EQ(renameFile("/etc/tarn/a", "/etc/outside"), -1);
    EXPECT_EQ(testlog::lines(), error("##ERROR: renameFile illegal path"));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/a"));
    EXPECT_FALSE(testfiles::exists("/etc/outside"));
}

TEST_F(RenameFile, failsWithoutTheOldParent) {
    EXPECT_EQ(renameFile("/etc/tarn/missing/a", "/etc/tarn/b"), -1);
    EXPECT_EQ(testlog::lines(), error("open old parent /etc/tarn/missing failed: No such file or directory"));
}

TEST_F(RenameFile, failsWithoutTheNewParent) {
    testfiles::write("/etc/tarn/a", "x");
    EXPECT_EQ(renameFile("/etc/tarn/a", "/etc/tarn/missing/b"), -1);
    EXPECT_EQ(testlog::lines(), error("open new parent /etc/tarn/missing failed: No such file or directory"));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/a"));
}

TEST_F(RenameFile, reportsTheOldParentFirst) {
    EXPECT_EQ(renameFile("/etc/tarn/old/a", "/etc/tarn/new/b"), -1);
    EXPECT_EQ(testlog::lines(), error("open old parent /etc/tarn/old failed: No such file or directory"));
}

TEST_F(RenameFile, doesNotFollowALinkAsParent) {
    testfiles::write("/etc/tarn/real/a", "x");
    testfiles::write("/etc/tarn/a", "x");
    testfiles::link("/etc/tarn/real", "/etc/tarn/link");
    EXPECT_EQ(renameFile("/etc/tarn/link/a", "/etc/tarn/b"), -1);
    EXPECT_EQ(renameFile("/etc/tarn/a", "/etc/tarn/link/b"), -1);
    EXPECT_EQ(testlog::lines(), (LogLineList{{1, "open old parent /etc/tarn/link" + because(ENOTDIR)},
                                             {1, "open new parent /etc/tarn/link" + because(ENOTDIR)}}));
}

TEST_F(RenameFile, opensBothParentsWithoutFollowingLinks) {
    testfiles::write("/etc/tarn/d/a", "");
    testfiles::makeDirectories("/etc/tarn/e");
    std::vector<std::pair<std::string, int>> opens;
    const auto open = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        opens.emplace_back(path, flags);
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(renameFile("/etc/tarn/d/a", "/etc/tarn/e/b"), 0);
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
    EXPECT_EQ(opens, (std::vector<std::pair<std::string, int>>{{"/etc/tarn/d", kFlags}, {"/etc/tarn/e", kFlags}}));
}

TEST_F(RenameFile, renamesTheLastComponentsBelowTheParents) {
    testfiles::write("/etc/tarn/d/a", "");
    std::vector<std::string> names;
    const auto renameat =
        interpose::renameat.replace([&](int oldFd, const char* oldName, int newFd, const char* newName) {
            EXPECT_NE(oldFd, newFd);
            names = {oldName, newName};
            return interpose::renameat.real(oldFd, oldName, newFd, newName);
        });
    EXPECT_EQ(renameFile("/etc/tarn/d/a", "/etc/tarn/b"), 0);
    EXPECT_EQ(names, (std::vector<std::string>{"a", "b"}));
}

TEST_F(RenameFile, isSilentWhenTheSourceIsGone) {
    setLogLevel(4);
    EXPECT_EQ(renameFile("/etc/tarn/missing", "/etc/tarn/b"), 1);
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(RenameFile, reportsEveryOtherFailure) {
    testfiles::write("/etc/tarn/d/x", "");
    testfiles::write("/etc/tarn/e/y", "");
    EXPECT_EQ(renameFile("/etc/tarn/d", "/etc/tarn/e"), 1);
    EXPECT_EQ(testlog::lines(), error("renameat from /etc/tarn/d to /etc/tarn/e" + because(ENOTEMPTY)));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/d/x"));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/e/y"));
}

TEST_F(RenameFile, reportsTheSystemsErrorThoughClosingChangesIt) {
    testfiles::write("/etc/tarn/a", "");
    const auto renameat = interpose::renameat.replace([](int, const char*, int, const char*) {
        errno = EXDEV;
        return -1;
    });
    const auto close = interpose::close.replace([](int fd) {
        const int result = interpose::close.real(fd);
        errno = ENOENT;
        return result;
    });
    EXPECT_EQ(renameFile("/etc/tarn/a", "/etc/tarn/b"), 1);
    EXPECT_EQ(testlog::lines(), error("renameat from /etc/tarn/a to /etc/tarn/b failed: Invalid cross-device link"));
}

TEST_F(RenameFile, takesNoNullPath) {
    EXPECT_THROW(renameFile(nullptr, "/etc/tarn/b"), std::logic_error);
    EXPECT_THROW(renameFile("/etc/tarn/a", nullptr), std::logic_error);
}

TEST_F(RenameDir, movesADirectory) {
    testfiles::write("/etc/tarn/.policydata/file", "content");
    EXPECT_EQ(renameDir("/etc/tarn/.policydata", "/etc/tarn/policydata"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/policydata/file"), "content");
    EXPECT_FALSE(testfiles::exists("/etc/tarn/.policydata"));
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(RenameDir, removesAFullTargetFirst) {
    testfiles::write("/etc/tarn/.policydata/file", "new");
    testfiles::write("/etc/tarn/policydata/file", "old");
    testfiles::write("/etc/tarn/policydata/deep/older", "old");
    EXPECT_EQ(renameDir("/etc/tarn/.policydata", "/etc/tarn/policydata"), 0);
    EXPECT_EQ(testfiles::list("/etc/tarn/policydata"), std::vector<std::string>{"file"});
    EXPECT_EQ(testfiles::read("/etc/tarn/policydata/file"), "new");
}

TEST_F(RenameDir, refusesPathsOutsideTheTrees) {
    testfiles::makeDirectories("/etc/tarn/d");
    testfiles::makeDirectories("/etc/outside");
    EXPECT_EQ(renameDir("/etc/tarn/d", "/etc/outside"), 1);
    EXPECT_EQ(renameDir("/etc/outside", "/etc/tarn/d"), 1);
    EXPECT_EQ(testlog::lines(),
              (LogLineList{{1, "##ERROR: renameDir illegal path"}, {1, "##ERROR: renameDir illegal path"}}));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/d"));
    EXPECT_TRUE(testfiles::exists("/etc/outside"));
}

TEST_F(RenameDir, failsWhenTheTargetCannotBeRemoved) {
    testfiles::makeDirectories("/etc/tarn/d");
    testfiles::write("/etc/tarn/target", "a file");
    EXPECT_EQ(renameDir("/etc/tarn/d", "/etc/tarn/target"), 1);
    EXPECT_EQ(testlog::lines(),
              (LogLineList{{1, "openat target" + because(ENOTDIR)}, {1, "##ERROR: in func renameDir, remove error."}}));
    EXPECT_TRUE(testfiles::exists("/etc/tarn/d"));
    EXPECT_EQ(testfiles::read("/etc/tarn/target"), "a file");
}

TEST_F(RenameDir, leavesNoTargetWhenTheSourceIsGone) {
    testfiles::write("/etc/tarn/target/file", "");
    EXPECT_EQ(renameDir("/etc/tarn/missing", "/etc/tarn/target"), 1);
    EXPECT_FALSE(testfiles::exists("/etc/tarn/target"));
    EXPECT_EQ(testlog::lines(), LogLineList{});
}

TEST_F(RenameDir, handsOnTheResultOfTheRename) {
    testfiles::makeDirectories("/etc/tarn/d");
    EXPECT_EQ(renameDir("/etc/tarn/d", "/etc/tarn/missing/e"), -1);
    EXPECT_EQ(testlog::lines(), error("open new parent /etc/tarn/missing failed: No such file or directory"));
}

TEST_F(RenameDir, takesADanglingLinkForAMissingTarget) {
    testfiles::write("/etc/tarn/d", "a file replaces a link, a directory would not");
    testfiles::link("/etc/tarn/missing", "/etc/tarn/link");
    EXPECT_EQ(renameDir("/etc/tarn/d", "/etc/tarn/link"), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/link"), "a file replaces a link, a directory would not");
}

TEST_F(RenameDir, takesNoNullPath) {
    EXPECT_THROW(renameDir(nullptr, "/etc/tarn/b"), std::logic_error);
    EXPECT_THROW(renameDir("/etc/tarn/a", nullptr), std::logic_error);
}
