// Joining a mount prefix with a path under the configuration tree.
#include <gtest/gtest.h>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/LogLines.h"

namespace {

using Lines = std::vector<testlog::Line>;

struct Joined {
    bool accepted;
    std::string out;
    Lines log;

    bool operator==(const Joined& other) const {
        return accepted == other.accepted && out == other.out && log == other.log;
    }
};

std::ostream& operator<<(std::ostream& stream, const Joined& joined) {
    return stream << (joined.accepted ? "accepted " : "refused ") << joined.out << " "
                  << testing::PrintToString(joined.log);
}

Joined join(const std::string& prefix, const std::string& inner) {
    testlog::clear();
    Joined joined{false, "untouched", {}};
    joined.accepted = SafeMountPrefixConcat(prefix, inner, joined.out);
    joined.log = testlog::lines();
    return joined;
}

Joined accepted(const std::string& out) {
    return {true, out, {}};
}

}  // namespace

TEST(MountPrefix, goesBeforeTheInnerPath) {
    EXPECT_EQ(join("/mnt", "/etc/tarn/x"), accepted("/mnt/etc/tarn/x"));
    EXPECT_EQ(join("/mnt/a b/c", "/etc/tarn/d/e"), accepted("/mnt/a b/c/etc/tarn/d/e"));
}

TEST(MountPrefix, losesOneTrailingSlash) {
    EXPECT_EQ(join("/mnt/root/", "/etc/tarn/x"), accepted("/mnt/root/etc/tarn/x"));
    EXPECT_EQ(join("/", "/etc/tarn/x"), accepted("/etc/tarn/x"));
}

TEST(MountPrefix, losesOnlyOneOfTwoTrailingSlashes) {
    EXPECT_EQ(join("/mnt//", "/etc/tarn/x"), accepted("/mnt//etc/tarn/x"));
}

TEST(MountPrefix, mayBeEmpty) {
    EXPECT_EQ(join("", "/etc/tarn/x"), accepted("/etc/tarn/x"));
}

TEST(MountPrefix, takesTheInnerTreeItself) {
    EXPECT_EQ(join("/mnt", "/etc/tarn/"), accepted("/mnt/etc/tarn/"));
    EXPECT_EQ(join("", "/etc/tarn/"), accepted("/etc/tarn/"));
}

TEST(MountPrefix, needNotExist) {
    EXPECT_EQ(join("/no/such/mount", "/etc/tarn/no/such/file"), accepted("/no/such/mount/etc/tarn/no/such/file"));
}

TEST(MountPrefix, isRefusedWithAnEscape) {
    for (const std::string prefix : {"/mnt/../x", "/mnt/./x", "/mnt./x", "../mnt", "./mnt"}) {
        EXPECT_EQ(join(prefix, "/etc/tarn/x"),
                  (Joined{false, "untouched", {{1, "Mount prefix contains escape char: " + prefix}}}));
    }
}

TEST(MountPrefix, isRefusedWithABackslash) {
    // The log writes a backslash as two.
    EXPECT_EQ(join("/mnt\\x", "/etc/tarn/x"),
              (Joined{false, "untouched", {{1, "Mount prefix contains escape char: /mnt\\\\x"}}}));
}

TEST(MountPrefix, isRefusedSilentlyWhenRelative) {
    for (const std::string prefix : {"mnt", "mnt/root", " /mnt", ".", ".."}) {
        EXPECT_EQ(join(prefix, "/etc/tarn/x"), (Joined{false, "untouched", {}}));
    }
}

TEST(MountPrefix, isCheckedForEscapesBeforeTheInnerPath) {
    EXPECT_EQ(join("/mnt/./x", "/tmp"),
              (Joined{false, "untouched", {{1, "Mount prefix contains escape char: /mnt/./x"}}}));
}

TEST(MountPrefix, isCheckedForItsSlashBeforeTheInnerPath) {
    EXPECT_EQ(join("mnt", "/tmp"), (Joined{false, "untouched", {}}));
}

TEST(MountPrefix, refusesAnInnerPathOutsideTheTree) {
    for (const std::string inner :
         {"", "/", "/etc/tar", "/etc/tarn", "/etc/tarnx", "/etc/tarnish/x", "etc/tarn/x", "/tmp/x", "/etc//tarn/x",
          "/sys/kernel/security/tarn/x", "/mnt/etc/tarn/x", " /etc/tarn/"}) {
        const Joined refused{false, "untouched", {{1, "Inner dir must under /etc/tarn/"}}};
        EXPECT_EQ(join("/mnt", inner), refused) << inner;
        EXPECT_EQ(join("", inner), refused) << inner;
    }
}

TEST(MountPrefix, keepsTheJoinedTextWhenTheInnerPathHoldsAnEscape) {
    EXPECT_EQ(join("/mnt", "/etc/tarn/../x"), (Joined{false, "/mnt/etc/tarn/../x", {}}));
    EXPECT_EQ(join("", "/etc/tarn/a\\b"), (Joined{false, "/etc/tarn/a\\b", {}}));
}

TEST(MountPrefix, keepsTheJoinedTextWhenTheEscapeArisesByJoining) {
    EXPECT_EQ(join("/mnt/..", "/etc/tarn/x"), (Joined{false, "/mnt/../etc/tarn/x", {}}));
    EXPECT_EQ(join("/mnt/.", "/etc/tarn/x"), (Joined{false, "/mnt/./etc/tarn/x", {}}));
}

TEST(MountPrefix, acceptsDotsAtTheVeryEnd) {
    EXPECT_EQ(join("/mnt", "/etc/tarn/.."), accepted("/mnt/etc/tarn/.."));
}
