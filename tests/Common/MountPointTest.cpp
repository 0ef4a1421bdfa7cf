// The check that a directory is a mount point, against mount tables of every kind.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <memory>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"

namespace {

using Lines = std::vector<testlog::Line>;

constexpr char kNotice[] = "validate_mount_point: 无法读取 /proc/mounts，仅校验了路径存在性";

Lines refusal(const std::string& complaint) {
    return {{1, "validate_mount_point: sPrefix " + complaint}};
}

const Lines kRelative = refusal("不是绝对路径");
const Lines kTrailingSlash = refusal("末尾不能带 '/'");
const Lines kDoubleSlash = refusal("包含连续的 '//'");
const Lines kTraversal = refusal("包含路径穿越");
const Lines kControl = refusal("包含控制字符");
const Lines kNoDirectory = refusal("路径不存在或不是目录");
const Lines kNoMountPoint = refusal("不是有效的挂载点");

struct Verdict {
    int result;
    Lines log;

    bool operator==(const Verdict& other) const { return result == other.result && log == other.log; }
};

std::ostream& operator<<(std::ostream& stream, const Verdict& verdict) {
    return stream << verdict.result << " " << testing::PrintToString(verdict.log);
}

Verdict validate(const std::string& path) {
    testlog::clear();
    const int result = validate_mount_point(path, "sPrefix");
    return {result, testlog::lines()};
}

const Verdict kValid{0, {}};

// An empty file system over /proc as long as it lives; with a text, a plain file "mounts" in it.
class OtherProc {
public:
    OtherProc() : mounted_(mount("empty", "/proc", "tmpfs", 0, nullptr) == 0) {}
    explicit OtherProc(const std::string& table) : OtherProc() {
        if (mounted_) {
            std::ofstream("/proc/mounts", std::ios::binary) << table;
        }
    }
    ~OtherProc() {
        if (mounted_) {
            umount2("/proc", MNT_DETACH);
        }
    }
    OtherProc(const OtherProc&) = delete;
    OtherProc& operator=(const OtherProc&) = delete;

    bool mounted() const { return mounted_; }

private:
    bool mounted_;
};

}  // namespace

#define SKIP_UNLESS_MOUNTED(proc)                            \
    if (!(proc).mounted()) {                                 \
        GTEST_SKIP() << "nothing can be mounted over /proc"; \
    }

TEST(MountPointText, isRefusedWhenRelative) {
    for (const char* path : {"mnt", "mnt/x", " /mnt", ".", "..", "\\", "mnt/", "a//b", "\n"}) {
        EXPECT_EQ(validate(path), (Verdict{-1, kRelative})) << path;
    }
}

TEST(MountPointText, isRefusedWithATrailingSlash) {
    for (const char* path : {"/mnt/", "//", "/mnt//", "/a//b/", "/a/../", "/a\n/"}) {
        EXPECT_EQ(validate(path), (Verdict{-1, kTrailingSlash})) << path;
    }
}

TEST(MountPointText, isRefusedWithTwoSlashesTogether) {
    for (const char* path : {"/mnt//x", "//x", "/a///b", "/a//..", "/a//b\n"}) {
        EXPECT_EQ(validate(path), (Verdict{-1, kDoubleSlash})) << path;
    }
}

TEST(MountPointText, isRefusedWithAComponentOfTwoDots) {
    for (const char* path : {"/..", "/mnt/..", "/../mnt", "/a/../b", "/a/../b\n"}) {
        EXPECT_EQ(validate(path), (Verdict{-1, kTraversal})) << path;
    }
}

TEST(MountPointText, isRefusedWithAControlCharacter) {
    for (int byte = 0; byte < 32; ++byte) {
        EXPECT_EQ(validate(std::string("/mnt") + static_cast<char>(byte) + "x"), (Verdict{-1, kControl})) << byte;
    }
    EXPECT_EQ(validate("/\n"), (Verdict{-1, kControl}));
}

TEST(MountPointText, goesOnToTheTableWithEverythingElse) {
    const OtherProc proc("");
    SKIP_UNLESS_MOUNTED(proc);
    for (const char* path : {"/x", "/...", "/a..", "/a/..b", "/..a/b", "/a/./b", "/.", "/a b", "/a\\b", "/a\x7f",
                             "/\x80\xff", "/标签", "/'\"", "/a../b"}) {
        EXPECT_EQ(validate(path), (Verdict{-2, kNoMountPoint})) << path;
    }
}

TEST(MountPointText, isAcceptedWhenEmptyOrTheRootWithoutATable) {
    const OtherProc proc;
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate(""), kValid);
    EXPECT_EQ(validate("/"), kValid);
}

TEST(MountPointText, isAcceptedWhenEmptyOrTheRootWhateverTheTableHolds) {
    const OtherProc proc("dev /mnt tmpfs rw 0 0\n");
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate(""), kValid);
    EXPECT_EQ(validate("/"), kValid);
}

TEST(MountPointLabel, standsInTheMessageForThePath) {
    EXPECT_EQ(validate_mount_point("secret", "the %s label"), -1);
    EXPECT_EQ(testlog::lines(), (Lines{{1, "validate_mount_point: the %s label 不是绝对路径"}}));
}

TEST(MountPointLabel, mayBeEmpty) {
    EXPECT_EQ(validate_mount_point("secret", ""), -1);
    EXPECT_EQ(testlog::lines(), (Lines{{1, "validate_mount_point:  不是绝对路径"}}));
}

TEST(MountTable, holdsTheMountPointInTheSecondField) {
    const OtherProc proc(
        "proc /proc proc rw 0 0\n"
        "/mnt/first /mnt/second tmpfs /mnt/fourth 0 0\n"
        "dev /mnt/last tmpfs rw 0 0\n");
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("/proc"), kValid);
    EXPECT_EQ(validate("/mnt/second"), kValid);
    EXPECT_EQ(validate("/mnt/last"), kValid);
    EXPECT_EQ(validate("/mnt/first"), (Verdict{-2, kNoMountPoint}));
    EXPECT_EQ(validate("/mnt/fourth"), (Verdict{-2, kNoMountPoint}));
}

TEST(MountTable, isComparedByteForByte) {
    const OtherProc proc("dev /mnt/point tmpfs rw 0 0\n");
    SKIP_UNLESS_MOUNTED(proc);
    for (const char* path : {"/mnt", "/mnt/poin", "/mnt/point2", "/mnt/Point", "/mnt/./point", "/point"}) {
        EXPECT_EQ(validate(path), (Verdict{-2, kNoMountPoint})) << path;
    }
}

TEST(MountTable, isNotUnescaped) {
    const OtherProc proc("dev /mnt/a\\040b tmpfs rw 0 0\n");
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("/mnt/a b"), (Verdict{-2, kNoMountPoint}));
    EXPECT_EQ(validate("/mnt/a\\040b"), kValid);
}

TEST(MountTable, mayHoldLinesWithoutTwoBlanks) {
    const OtherProc proc(
        "\n"
        "/mnt/none\n"
        "dev \n"
        " \n"
        "dev /mnt/one\n"
        "dev /mnt/two rest\n");
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("/mnt/none"), (Verdict{-2, kNoMountPoint}));
    EXPECT_EQ(validate("/mnt/one"), (Verdict{-2, kNoMountPoint}));
    EXPECT_EQ(validate("/mnt/two"), kValid);
}

TEST(MountTable, takesTheFieldBetweenTheFirstTwoBlanks) {
    const OtherProc proc(
        " /mnt/leading x\n"
        "dev  /mnt/double x\n"
        "dev /mnt/closing \n"
        "dev\t/mnt/tab x y\n");
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("/mnt/leading"), kValid);
    EXPECT_EQ(validate("/mnt/double"), (Verdict{-2, kNoMountPoint}));
    EXPECT_EQ(validate("/mnt/closing"), kValid);
    EXPECT_EQ(validate("/mnt/tab"), (Verdict{-2, kNoMountPoint}));
}

TEST(MountTable, mayHoldVeryLongLines) {
    const std::string options(100000, 'o');
    const std::string deep = "/mnt/" + std::string(20000, 'd');
    const OtherProc proc("dev /x t " + options + " /mnt/inside x\ndev " + deep +
                         " t rw 0 0\ndev /mnt/after t rw 0 0\n");
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("/mnt/after"), kValid);
    EXPECT_EQ(validate(deep), kValid);
    EXPECT_EQ(validate("/mnt/inside"), (Verdict{-2, kNoMountPoint}));
}

TEST(MountTable, isTheWholeTest) {
    const OtherProc proc("dev /no/such/directory tmpfs rw 0 0\n");
    SKIP_UNLESS_MOUNTED(proc);
    int asked = 0;
    const auto stat = interpose::stat.replace([&](const char* path, struct stat* status) {
        ++asked;
        return interpose::stat.real(path, status);
    });
    EXPECT_EQ(validate("/no/such/directory"), kValid);
    EXPECT_EQ(validate("/etc"), (Verdict{-2, kNoMountPoint}));
    EXPECT_EQ(asked, 0);
}

TEST(MountTable, isClosedAfterEveryAnswer) {
    {
        const OtherProc proc("dev /mnt/x tmpfs rw 0 0\n");
        SKIP_UNLESS_MOUNTED(proc);
    }
    const int before = testfiles::openDescriptors();
    {
        const OtherProc proc("dev /mnt/x tmpfs rw 0 0\n");
        EXPECT_EQ(validate("/mnt/x"), kValid);
        EXPECT_EQ(validate("/mnt/y"), (Verdict{-2, kNoMountPoint}));
    }
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

TEST(MountTable, ofTheKernelNamesARealMount) {
    testfiles::makeDirectories("/etc/tarn/mounted");
    if (mount("real", "/etc/tarn/mounted", "tmpfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    testfiles::makeDirectories("/etc/tarn/mounted/inner");
    EXPECT_EQ(validate("/etc/tarn/mounted"), kValid);
    EXPECT_EQ(validate("/etc/tarn/mounted/inner"), (Verdict{-2, kNoMountPoint}));
    EXPECT_EQ(validate("/etc/tarn/missing"), (Verdict{-2, kNoMountPoint}));
}

TEST(MountTable, ofTheKernelWritesABlankAsAnOctalEscape) {
    testfiles::makeDirectories("/etc/tarn/a b");
    if (mount("real", "/etc/tarn/a b", "tmpfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    EXPECT_EQ(validate("/etc/tarn/a b"), (Verdict{-2, kNoMountPoint}));
}

TEST(UnreadableMountTable, leavesADirectoryWithANotice) {
    testfiles::makeDirectories("/etc/tarn/dir");
    const OtherProc proc;
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("/etc/tarn/dir"), (Verdict{0, {{2, kNotice}}}));
}

TEST(UnreadableMountTable, followsALinkToADirectory) {
    testfiles::makeDirectories("/etc/tarn/dir");
    testfiles::link("/etc/tarn/dir", "/etc/tarn/link");
    const OtherProc proc;
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("/etc/tarn/link"), (Verdict{0, {{2, kNotice}}}));
}

TEST(UnreadableMountTable, refusesWhatIsMissing) {
    const OtherProc proc;
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("/etc/tarn/missing"), (Verdict{-3, kNoDirectory}));
}

TEST(UnreadableMountTable, refusesWhatIsNoDirectory) {
    testfiles::write("/etc/tarn/file", "");
    const OtherProc proc;
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("/etc/tarn/file"), (Verdict{-3, kNoDirectory}));
}

TEST(UnreadableMountTable, doesNotLoosenTheRulesOfTheText) {
    const OtherProc proc;
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("etc"), (Verdict{-1, kRelative}));
    EXPECT_EQ(validate("/etc/"), (Verdict{-1, kTrailingSlash}));
    EXPECT_EQ(validate("/etc/.."), (Verdict{-1, kTraversal}));
}

TEST(UnreadableMountTable, keepsItsNoticeFromAQuietLog) {
    setLogLevel(1);
    const OtherProc proc;
    SKIP_UNLESS_MOUNTED(proc);
    EXPECT_EQ(validate("/etc"), kValid);
}
