#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "support/Bytes.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/Model.h"

namespace {

using testbytes::same;
using testlog::Line;

class BeginEndMessages : public testing::Test {
protected:
    BeginEndMessages() { testfiles::makeDirectories(paths::kPolicyDataTmp); }
};

TEST_F(BeginEndMessages, TypeOneWritesTheBeginMessage) {
    EXPECT_EQ(compileKernelMsg(1), 0U);
    EXPECT_TRUE(same(model::fromHex("01 00 00 00 14 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00"),
                     testfiles::read("/etc/tarn/.policydata/beginmsg")));
    EXPECT_EQ(testfiles::list(paths::kPolicyDataTmp), std::vector<std::string>{"beginmsg"});
}

TEST_F(BeginEndMessages, TypeTwoWritesTheEndMessage) {
    EXPECT_EQ(compileKernelMsg(2), 0U);
    EXPECT_TRUE(same(model::fromHex("01 00 00 00 14 00 00 00 00 00 00 00 00 00 00 00 02 00 00 00"),
                     testfiles::read("/etc/tarn/.policydata/endmsg")));
    EXPECT_EQ(testfiles::list(paths::kPolicyDataTmp), std::vector<std::string>{"endmsg"});
}

TEST_F(BeginEndMessages, OtherTypesWriteNothingAndSucceed) {
    for (const unsigned int type : {0U, 3U, 4U, 5U, 0xFFFFFFFFU}) {
        EXPECT_EQ(compileKernelMsg(type), 0U) << type;
    }
    EXPECT_TRUE(testfiles::list(paths::kPolicyDataTmp).empty());
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(BeginEndMessages, LogNothingOnSuccess) {
    compileKernelMsg(1);
    compileKernelMsg(2);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(BeginEndMessages, ReplaceAnExistingFile) {
    testfiles::write(paths::kBeginMessage, std::string(100, 'x'));
    EXPECT_EQ(compileKernelMsg(1), 0U);
    EXPECT_TRUE(same(model::beginMessage(), testfiles::read(paths::kBeginMessage)));
}

TEST_F(BeginEndMessages, AreCreatedReadableForOwnerAndGroup) {
    compileKernelMsg(1);
    compileKernelMsg(2);
    EXPECT_EQ(testfiles::mode(paths::kBeginMessage), 0440U);
    EXPECT_EQ(testfiles::mode(paths::kEndMessage), 0440U);
}

TEST_F(BeginEndMessages, AreOpenedTruncatingAndWithoutFollowingLinksAndWrittenAtOnce) {
    std::vector<int> flags;
    std::vector<std::size_t> counts;
    const auto onOpen = interpose::open.replace([&](const char* path, int openFlags, mode_t mode) {
        if (std::string(path) == paths::kEndMessage) {
            flags.push_back(openFlags);
        }
        return interpose::open.real(path, openFlags, mode);
    });
    const auto onWrite = interpose::write.replace([&](int fd, const void* data, std::size_t count) {
        counts.push_back(count);
        return interpose::write.real(fd, data, count);
    });
    EXPECT_EQ(compileKernelMsg(2), 0U);
    EXPECT_EQ(flags, std::vector<int>{0x20242});
    EXPECT_EQ(counts, std::vector<std::size_t>{20});
}

TEST_F(BeginEndMessages, RefuseALinkInTheirPlace) {
    testfiles::write("/etc/tarn/elsewhere", "kept");
    testfiles::link("/etc/tarn/elsewhere", paths::kEndMessage);
    EXPECT_EQ(compileKernelMsg(2), 0xFFFFFFFFU);
    EXPECT_EQ(
        testlog::lines(),
        (std::vector<Line>{{1, "####ERROR: Open /etc/tarn/.policydata/endmsg failed"},
                           {1, "###ERROR: in func compileKernelMsg, write /etc/tarn/.policydata/endmsg error."}}));
    EXPECT_EQ(testfiles::read("/etc/tarn/elsewhere"), "kept");
}

TEST_F(BeginEndMessages, RefuseALinkThatLeavesTheAllowedTreesBeforeOpeningIt) {
    testfiles::link("/dev/null", paths::kBeginMessage);
    EXPECT_EQ(compileKernelMsg(1), 0xFFFFFFFFU);
    EXPECT_EQ(
        testlog::lines(),
        (std::vector<Line>{{1, "####ERROR: Illegal path traversal detected: /etc/tarn/.policydata/beginmsg"},
                           {1, "###ERROR: in func compileKernelMsg, write /etc/tarn/.policydata/beginmsg error."}}));
}

TEST_F(BeginEndMessages, HandTheErrnoOfAFailedWriteOn) {
    for (const int error : {EIO, ENOMEM, EINVAL, ENODATA, ECOMM, EPROTO, EBADMSG, ENOSPC}) {
        const auto onWrite = interpose::write.replace([&](int fd, const void* data, std::size_t count) -> ssize_t {
            if (count == 20) {
                errno = error;
                return -1;
            }
            return interpose::write.real(fd, data, count);
        });
        EXPECT_EQ(compileKernelMsg(1), static_cast<unsigned int>(error));
        EXPECT_EQ(testlog::lines().back(),
                  (Line{1, "###ERROR: in func compileKernelMsg, write /etc/tarn/.policydata/beginmsg error."}));
    }
}

TEST(BeginEndMessagesWithoutDirectory, FailWhereTheDirectoryIsMissing) {
    EXPECT_EQ(compileKernelMsg(1), 0xFFFFFFFFU);
    EXPECT_FALSE(testfiles::exists(paths::kPolicyDataTmp));
    EXPECT_EQ(
        testlog::lines(),
        (std::vector<Line>{{1, "####ERROR: Open /etc/tarn/.policydata/beginmsg failed"},
                           {1, "###ERROR: in func compileKernelMsg, write /etc/tarn/.policydata/beginmsg error."}}));
}

}  // namespace
