// The owners of descriptors and streams: what is closed, when, and how often.
#include "Common/Handles.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "Common/DirectoryStream.h"
#include "support/Files.h"
#include "support/Interpose.h"

namespace {

// The descriptors that were closed, in order; nothing is really closed.
class Closed {
public:
    Closed()
        : close_(interpose::close.replace([this](int fd) {
              closed_.push_back(fd);
              return 0;
          })) {}
    std::vector<int> take() { return std::exchange(closed_, {}); }

private:
    std::vector<int> closed_;
    decltype(interpose::close)::Guard close_;
};

constexpr int kFirst = 1001;
constexpr int kSecond = 1002;

TEST(UniqueFd, ClosesItsDescriptorOnceAtTheEnd) {
    Closed closed;
    {
        const UniqueFd fd(kFirst);
        EXPECT_EQ(fd.get(), kFirst);
        EXPECT_TRUE(fd.valid());
    }
    EXPECT_EQ(closed.take(), std::vector<int>{kFirst});
}

TEST(UniqueFd, OwnsNothingWithoutADescriptor) {
    Closed closed;
    {
        const UniqueFd none;
        const UniqueFd failed(-1);
        EXPECT_FALSE(none.valid());
        EXPECT_FALSE(failed.valid());
    }
    EXPECT_EQ(closed.take(), std::vector<int>{});
}

TEST(UniqueFd, OwnsDescriptorZeroToo) {
    Closed closed;
    { EXPECT_TRUE(UniqueFd(0).valid()); }
    EXPECT_EQ(closed.take(), std::vector<int>{0});
}

TEST(UniqueFd, ResetClosesAtOnceAndOnce) {
    Closed closed;
    {
        UniqueFd fd(kFirst);
        fd.reset();
        EXPECT_EQ(closed.take(), std::vector<int>{kFirst});
        EXPECT_FALSE(fd.valid());
    }
    EXPECT_EQ(closed.take(), std::vector<int>{});
}

TEST(UniqueFd, ResetTakesAnotherDescriptorOver) {
    Closed closed;
    {
        UniqueFd fd(kFirst);
        fd.reset(kSecond);
        EXPECT_EQ(closed.take(), std::vector<int>{kFirst});
        EXPECT_EQ(fd.get(), kSecond);
    }
    EXPECT_EQ(closed.take(), std::vector<int>{kSecond});
}

TEST(UniqueFd, ReleaseHandsTheDescriptorOver) {
    Closed closed;
    {
        UniqueFd fd(kFirst);
        EXPECT_EQ(fd.release(), kFirst);
        EXPECT_FALSE(fd.valid());
    }
    EXPECT_EQ(closed.take(), std::vector<int>{});
}

TEST(UniqueFd, MovesItsDescriptor) {
    static_assert(!std::is_copy_constructible_v<UniqueFd> && !std::is_copy_assignable_v<UniqueFd>);
    Closed closed;
    {
        UniqueFd first(kFirst);
        const UniqueFd second(std::move(first));
        EXPECT_EQ(second.get(), kFirst);
    }
    EXPECT_EQ(closed.take(), std::vector<int>{kFirst});
    {
        UniqueFd first(kFirst);
        UniqueFd second(kSecond);
        second = std::move(first);
        EXPECT_EQ(closed.take(), std::vector<int>{kSecond});
        EXPECT_EQ(second.get(), kFirst);
        UniqueFd& same = second;
        second = std::move(same);
        EXPECT_EQ(second.get(), kFirst);
    }
    EXPECT_EQ(closed.take(), std::vector<int>{kFirst});
}

TEST(UniqueDir, ClosesItsStream) {
    const int before = testfiles::openDescriptors();
    {
        const UniqueDir stream = openDirectoryStream("/etc");
        ASSERT_TRUE(stream);
        EXPECT_EQ(testfiles::openDescriptors(), before + 1);
    }
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

TEST(UniqueFile, ClosesItsStream) {
    testfiles::write("/etc/tarn/file", "lines");
    const int before = testfiles::openDescriptors();
    {
        const UniqueFile stream(std::fopen("/etc/tarn/file", "re"));
        ASSERT_TRUE(stream);
        EXPECT_EQ(testfiles::openDescriptors(), before + 1);
    }
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

TEST(DirectoryStream, OwnsTheDescriptorOrClosesIt) {
    const int before = testfiles::openDescriptors();
    {
        const UniqueDir stream = makeDirectoryStream(UniqueFd(open("/etc", kOpenDirectory)));
        ASSERT_TRUE(stream);
        EXPECT_NE(readdir(stream.get()), nullptr);
    }
    EXPECT_EQ(testfiles::openDescriptors(), before);
    testfiles::write("/etc/tarn/file", "no folder");
    EXPECT_FALSE(makeDirectoryStream(UniqueFd(open("/etc/tarn/file", O_RDONLY))));
    EXPECT_EQ(testfiles::openDescriptors(), before) << "no stream could be made of it";
    EXPECT_FALSE(makeDirectoryStream(UniqueFd()));
}

TEST(DirectoryStream, OpensFoldersAndFollowsNoLink) {
    testfiles::makeDirectories("/etc/tarn/folder");
    testfiles::write("/etc/tarn/file", "no folder");
    testfiles::link("/etc/tarn/folder", "/etc/tarn/link");
    EXPECT_TRUE(openDirectoryStream("/etc/tarn/folder"));
    EXPECT_FALSE(openDirectoryStream("/etc/tarn/file"));
    EXPECT_FALSE(openDirectoryStream("/etc/tarn/link"));
    EXPECT_FALSE(openDirectoryStream("/etc/tarn/missing"));
    EXPECT_TRUE(openDirectoryStream("/etc/tarn/link/.")) << "the last component alone";
}

}  // namespace
