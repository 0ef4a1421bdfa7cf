// The delivery of a finished set, from the running machine or from below a mount point: what is looked at, what is
// sent in which order, and what stops it.
#include <dirent.h>
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>

#include "DeliverySet.h"
#include "support/Interpose.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testlog::Line;

const std::string kMount = "/etc/tarn/mounted";
const std::string kBelow = kMount + "/etc/tarn";
const std::string kFinal = paths::kPolicyData;
// A mount point may lie anywhere, also where the library touches nothing else.
const std::string kElsewhere = "/var/log/mounted";

class InitialDelivery : public DeliverySet {
protected:
    // A finished set: the frame and two policy files.
    static void finishedSet(const std::string& directory) {
        testfiles::write(directory + "/beginmsg", kBegin);
        testfiles::write(directory + "/namemsg", kNames);
        testfiles::write(directory + "/endmsg", kEnd);
        testfiles::write(directory + "/base_0_ns_g_0", "first");
        testfiles::write(directory + "/base_1_ns_g_0", "second");
    }
    static bool mountTree(const std::string& path = kMount) {
        testfiles::makeDirectories(path);
        return mount("set", path.c_str(), "tmpfs", 0, nullptr) == 0;
    }
    static void frame() {
        testfiles::write(kFinal + "/beginmsg", kBegin);
        testfiles::write(kFinal + "/namemsg", kNames);
        testfiles::write(kFinal + "/endmsg", kEnd);
    }
    // Entry and value of the last write to the kernel.
    std::string lastWrite() const {
        std::string result;
        for (const KernelEntry::Call& call : kernel_.calls()) {
            if (call.name == "write") {
                result = call.path + "=" + call.data;
            }
        }
        return result;
    }
    // The sorted messages between the second and the last one.
    static std::vector<std::string> policies(const std::vector<std::string>& messages) {
        std::vector<std::string> result(messages.begin() + 2, messages.end() - 1);
        std::sort(result.begin(), result.end());
        return result;
    }
};

#define SKIP_UNLESS_MOUNTED()                          \
    if (!mountTree()) {                                \
        GTEST_SKIP() << "nothing can be mounted here"; \
    }

TEST_F(InitialDelivery, SendsBeginNamesPoliciesAndEnd) {
    finishedSet(kFinal);
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    const std::vector<std::string> messages = kernel_.messages();
    ASSERT_EQ(messages.size(), 5U);
    EXPECT_EQ(messages[0], kBegin);
    EXPECT_EQ(messages[1], kNames);
    EXPECT_EQ(messages[4], kEnd);
    EXPECT_THAT(policies(messages), ElementsAre("first", "second"));
    EXPECT_THAT(testlog::lines(), IsEmpty());
}

TEST_F(InitialDelivery, SendsFromBelowAMountPoint) {
    SKIP_UNLESS_MOUNTED();
    finishedSet(kBelow + "/policydata");
    EXPECT_EQ(manager_.sendInitPolicy(kMount), 0U);
    EXPECT_EQ(kernel_.messages().size(), 5U);
    EXPECT_THAT(testlog::lines(), IsEmpty());
}

TEST_F(InitialDelivery, SendsFromBelowAMountPointOutsideTheLibrarysTrees) {
    if (!mountTree(kElsewhere)) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    finishedSet(kElsewhere + "/etc/tarn/policydata");
    testfiles::write(kElsewhere + "/etc/tarn/dynamicinfo", "net:usb:1\n");
    testfiles::write(paths::kernelParameter("net", "usb"), "");
    EXPECT_EQ(manager_.sendInitPolicy(kElsewhere), 0U);
    const std::vector<std::string> messages = kernel_.messages();
    ASSERT_EQ(messages.size(), 6U);
    EXPECT_EQ(messages[0], kBegin);
    EXPECT_EQ(messages[1], kNames);
    EXPECT_THAT(policies({messages.begin(), messages.end() - 1}), ElementsAre("first", "second"));
    EXPECT_EQ(messages[4], kEnd);
    EXPECT_EQ(lastWrite(), paths::kernelParameter("net", "usb") + "=1");
    EXPECT_THAT(testlog::lines(), IsEmpty());
}

TEST_F(InitialDelivery, SendsThePoliciesInDirectoryOrder) {
    frame();
    for (const std::string name : {"zulu", "alpha", "mike", "beta", "yankee", "charlie"}) {
        testfiles::write(kFinal + "/" + name, "message of " + name);
    }
    std::vector<std::string> expected = policiesInDirectoryOrder(kFinal);
    ASSERT_FALSE(std::is_sorted(expected.begin(), expected.end())) << "this file system proves nothing";
    expected.insert(expected.begin(), {kBegin, kNames});
    expected.emplace_back(kEnd);
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_EQ(kernel_.messages(), expected);
}

TEST_F(InitialDelivery, ReleasesEveryDescriptor) {
    frame();
    const int before = testfiles::openDescriptors();
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_EQ(testfiles::openDescriptors(), before) << "no policy files";
    finishedSet(kFinal);
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_EQ(kernel_.messages().size(), 5U);
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

TEST_F(InitialDelivery, RenamesAndRemovesNothing) {
    finishedSet(kFinal);
    writeSet();
    const auto before = delivery::tree("/etc/tarn");
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_EQ(delivery::tree("/etc/tarn"), before);
}

TEST_F(InitialDelivery, AMissingSetIsSilent) {
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_THAT(kernel_.messages(), IsEmpty());
    EXPECT_THAT(testlog::lines(), IsEmpty());
}

TEST_F(InitialDelivery, AMissingSetBelowAMountPointIsSilent) {
    SKIP_UNLESS_MOUNTED();
    EXPECT_EQ(manager_.sendInitPolicy(kMount), 0U);
    EXPECT_THAT(testlog::lines(), IsEmpty());
}

TEST_F(InitialDelivery, APathThatIsNoMountPointGives1) {
    testfiles::makeDirectories(kMount);
    EXPECT_EQ(manager_.sendInitPolicy(kMount), 1U);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "validate_mount_point: sPrefix 不是有效的挂载点"},
                                              Line{1, "sendInitPolicy: invalid mount point"}));
}

TEST_F(InitialDelivery, AMalformedMountPointGives1) {
    EXPECT_EQ(manager_.sendInitPolicy("mnt"), 1U);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "validate_mount_point: sPrefix 不是绝对路径"},
                                              Line{1, "sendInitPolicy: invalid mount point"}));
}

// The check of mount points lets "." components pass, the joining does not.
TEST_F(InitialDelivery, AMountPointWithAnEscapeGives1) {
    const std::string odd = "/etc/tarn/odd.";
    testfiles::makeDirectories(odd + "/inner");
    if (mount("set", (odd + "/inner").c_str(), "tmpfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "nothing can be mounted here";
    }
    EXPECT_EQ(manager_.sendInitPolicy(odd + "/inner"), 1U);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "Mount prefix contains escape char: " + odd + "/inner"},
                                              Line{1, "sendInitPolicy invalid mount prefix: " + odd + "/inner"}));
}

TEST_F(InitialDelivery, TheRootIsAMountPoint) {
    finishedSet(kFinal);
    EXPECT_EQ(manager_.sendInitPolicy("/"), 0U);
    EXPECT_EQ(kernel_.messages().size(), 5U);
}

TEST_F(InitialDelivery, WithTheRootTheVariablesAreThoseOfTheFile) {
    finishedSet(kFinal);
    addVariable("net", "own", 1);
    testfiles::write(paths::kernelParameter("net", "saved"), "");
    testfiles::write(paths::kDynamicInfo, "net:saved:1\n");
    EXPECT_EQ(manager_.sendInitPolicy("/"), 0U);
    EXPECT_EQ(kernel_.messages().size(), 6U);
    EXPECT_EQ(lastWrite(), paths::kernelParameter("net", "saved") + "=1");
}

TEST_F(InitialDelivery, AnythingButADirectoryGives1) {
    testfiles::write(kFinal, "a file");
    EXPECT_EQ(manager_.sendInitPolicy(""), 1U);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "sendInitPolicy: " + kFinal + " is not a directory"}));
}

TEST_F(InitialDelivery, ADirectoryThatCannotBeExaminedGives1) {
    const auto refused = interpose::stat.replace([](const char*, struct stat*) {
        errno = EACCES;
        return -1;
    });
    EXPECT_EQ(manager_.sendInitPolicy(""), 1U);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{1, "sendInitPolicy: stat " + kFinal + " failed: Permission denied"}));
}

TEST_F(InitialDelivery, ADirectoryThatCannotBeOpenedGives1) {
    finishedSet(kFinal);
    const auto refused = interpose::fdopendir.replace([](int) -> DIR* {
        errno = ENOMEM;
        return nullptr;
    });
    EXPECT_EQ(manager_.sendInitPolicy(""), 1U);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "sendInitPolicy: opendir " + kFinal + " failed"}));
}

TEST_F(InitialDelivery, ALinkBelowTheMountPointIsNotFollowed) {
    SKIP_UNLESS_MOUNTED();
    finishedSet(kBelow + "/real");
    testfiles::link(kBelow + "/real", kBelow + "/policydata");
    EXPECT_EQ(manager_.sendInitPolicy(kMount), 1U);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "sendInitPolicy: opendir " + kBelow + "/policydata failed"}));
    EXPECT_THAT(kernel_.messages(), IsEmpty());
}

TEST_F(InitialDelivery, ADirectoryThatIsGoneInTheSecondPassGives1) {
    finishedSet(kFinal);
    int opened = 0;
    const auto refused = interpose::fdopendir.replace(
        [&](int fd) -> DIR* { return ++opened == 1 ? interpose::fdopendir.real(fd) : nullptr; });
    EXPECT_EQ(manager_.sendInitPolicy(""), 1U);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "##ERROR: in func sendInitPolicy, open " + kFinal + " failed"}));
    EXPECT_THAT(kernel_.messages(), ElementsAre(kBegin, kNames));
}

TEST_F(InitialDelivery, ASetWithoutPolicyFilesIsNotSent) {
    testfiles::write(kFinal + "/beginmsg", kBegin);
    testfiles::write(kFinal + "/namemsg", kNames);
    testfiles::write(kFinal + "/endmsg", kEnd);
    setLogLevel(4);
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_THAT(kernel_.messages(), IsEmpty());
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{4, "sendInitPolicy: no policy files in " + kFinal}));
}

TEST_F(InitialDelivery, ANameThatBeginsWithADotCountsAsPolicyFileButIsNeverSent) {
    testfiles::write(kFinal + "/beginmsg", kBegin);
    testfiles::write(kFinal + "/.hidden", "hidden");
    testfiles::write(kFinal + "/endmsg", kEnd);
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_THAT(kernel_.messages(), ElementsAre(kBegin, kEnd));
}

TEST_F(InitialDelivery, LinksAndDirectoriesAreNotSent) {
    finishedSet(kFinal);
    testfiles::link(kFinal + "/base_0_ns_g_0", kFinal + "/link");
    testfiles::makeDirectories(kFinal + "/folder");
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_EQ(kernel_.messages().size(), 5U);
    EXPECT_THAT(testlog::lines(), IsEmpty());
}

// Reports no type from the pass with this number on.
class Typeless {
public:
    explicit Typeless(int pass)
        : open_(interpose::fdopendir.replace([this](int fd) {
              ++passes_;
              return interpose::fdopendir.real(fd);
          })),
          read_(interpose::readdir.replace([this, pass](DIR* directory) {
              struct dirent* entry = interpose::readdir.real(directory);
              if (entry != nullptr && passes_ >= pass) {
                  entry->d_type = DT_UNKNOWN;
              }
              return entry;
          })) {}

private:
    int passes_ = 0;
    decltype(interpose::fdopendir)::Guard open_;
    decltype(interpose::readdir)::Guard read_;
};

// A file system that does not report types has no policy files.
TEST_F(InitialDelivery, TrustsTheTypeThatTheDirectoryReports) {
    finishedSet(kFinal);
    setLogLevel(4);
    const Typeless typeless(1);
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_THAT(kernel_.messages(), IsEmpty());
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{4, "sendInitPolicy: no policy files in " + kFinal}));
}

TEST_F(InitialDelivery, TrustsTheTypeInTheSecondPassToo) {
    finishedSet(kFinal);
    const Typeless typeless(2);
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_THAT(kernel_.messages(), ElementsAre(kBegin, kNames, kEnd));
    EXPECT_THAT(testlog::lines(), IsEmpty());
}

TEST_F(InitialDelivery, AMissingFrameMessageIsANoticeAndCountsAsSent) {
    testfiles::write(kFinal + "/base_0_ns_g_0", "first");
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_THAT(kernel_.messages(), ElementsAre("first"));
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{2, "sendSinglePolicyInternal: file not found: " + kFinal + "/beginmsg"},
                            Line{2, "sendSinglePolicyInternal: file not found: " + kFinal + "/namemsg"},
                            Line{2, "sendSinglePolicyInternal: file not found: " + kFinal + "/endmsg"}));
}

TEST_F(InitialDelivery, ARefusalStopsItWithTheKernelsAnswerAndALine) {
    const std::map<std::size_t, std::string> complaints = {
        {1, "##ERROR: in func sendInitPolicy, send beginmsg error."},
        {2, "##ERROR: in func sendInitPolicy, send namemsg error."},
        {3, "##ERROR: in func sendInitPolicy, send Policy error for " + kFinal + "/only."},
        {4, "##ERROR: in func sendInitPolicy, send end policy error."}};
    testfiles::write(kFinal + "/beginmsg", kBegin);
    testfiles::write(kFinal + "/namemsg", kNames);
    testfiles::write(kFinal + "/endmsg", kEnd);
    testfiles::write(kFinal + "/only", "policy");
    std::size_t written = 0;
    for (const auto& [number, complaint] : complaints) {
        for (const delivery::Answer& answer : delivery::kAnswers) {
            testlog::clear();
            const int before = testfiles::openDescriptors();
            kernel_.refuse(written + number, answer.number);
            EXPECT_EQ(manager_.sendInitPolicy(""), static_cast<unsigned int>(answer.number));
            std::vector<Line> lines = delivery::refusal(answer);
            lines.push_back({1, complaint});
            EXPECT_EQ(testlog::lines(), lines);
            EXPECT_EQ(testfiles::openDescriptors(), before);
            written += number;
            EXPECT_EQ(kernel_.messages().size(), written);
        }
    }
}

TEST_F(InitialDelivery, ReplaysTheVariablesOfTheManagerWithoutAMountPoint) {
    finishedSet(kFinal);
    addVariable("net", "usb", 7);
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_EQ(lastWrite(), paths::kernelParameter("net", "usb") + "=1");
}

// Whatever was compiled before: only sendPolicy drops variables.
TEST_F(InitialDelivery, DoesNotAskWhetherTheLastCompilationWasAFullOne) {
    finishedSet(kFinal);
    addVariable("net", "usb", 7);
    testfiles::write(paths::kDynamicInfo, "net:usb:7\n");
    manager_.fullCompiled = true;
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
    EXPECT_EQ(lastWrite(), paths::kernelParameter("net", "usb") + "=1");
    EXPECT_EQ(manager_.dynamicVarMap.size(), 1U);
    EXPECT_EQ(testfiles::read(paths::kDynamicInfo), "net:usb:7\n");
    EXPECT_TRUE(manager_.fullCompiled);
}

TEST_F(InitialDelivery, NothingIsReplayedWhereNothingIsSent) {
    addVariable("net", "usb", 7);
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U) << "no set";
    frame();
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U) << "no policy files";
    EXPECT_THAT(kernel_.calls(), IsEmpty());
}

TEST_F(InitialDelivery, ReplaysTheVariablesBelowTheMountPoint) {
    SKIP_UNLESS_MOUNTED();
    finishedSet(kBelow + "/policydata");
    testfiles::write(kBelow + "/dynamicinfo", "net:usb:1\n");
    testfiles::write(paths::kernelParameter("net", "usb"), "");
    EXPECT_EQ(manager_.sendInitPolicy(kMount), 0U);
    EXPECT_EQ(lastWrite(), paths::kernelParameter("net", "usb") + "=1");
    EXPECT_EQ(manager_.dynamicVarMap.size(), 1U);
}

TEST_F(InitialDelivery, VariablesThatCannotBeReadFailIt) {
    SKIP_UNLESS_MOUNTED();
    finishedSet(kBelow + "/policydata");
    testfiles::makeDirectories(kBelow + "/dynamicinfo");
    EXPECT_EQ(manager_.sendInitPolicy(kMount), 0xFFFFFFFFU);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{1, "readFileToVecImpl: " + kBelow + "/dynamicinfo is not a regular file"},
                            Line{1, "##ERROR: in func sendInitPolicy, send dynamic policy error."}));
}

TEST_F(InitialDelivery, AFailingSwitchDoesNotFailIt) {
    finishedSet(kFinal);
    manager_.dynamicVarMap[{"net", "absent"}] = 1;
    EXPECT_EQ(manager_.sendInitPolicy(""), 0U);
}

}  // namespace
