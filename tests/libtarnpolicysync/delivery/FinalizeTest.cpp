// The promotion of the temporary names: order, and what counts as an error for which file.
#include "DeliverySet.h"
#include "support/Interpose.h"

namespace {

using testlog::Line;

class Finalize : public DeliverySet {
protected:
    Finalize() { writeSet({"one"}); }

    // A link out of the allowed trees: the renaming refuses it with -1.
    static void makeRefused(const char* path) {
        std::filesystem::remove(path);
        testfiles::link("/var/log", path);
    }
    // A directory in the place of the final name: the renaming fails with 1.
    static void makeFailing(const char* target) { testfiles::makeDirectories(target); }
    static std::string failed(const char* from, const char* to) {
        return std::string("renameat from ") + from + " to " + to + " failed: Is a directory";
    }
};

TEST_F(Finalize, GivesEveryFileItsFinalName) {
    EXPECT_EQ(manager_.finalizeTmpFile(), 0);
    EXPECT_EQ(testfiles::list("/etc/tarn"),
              (std::vector<std::string>{"funcinfo", "policydata", "scene_info", "userinfo"}));
    EXPECT_EQ(testfiles::read("/etc/tarn/scene_info"), "99:ns\n");
    EXPECT_EQ(testfiles::read("/etc/tarn/funcinfo"), "ns#m:f\n");
    EXPECT_EQ(testfiles::read("/etc/tarn/userinfo"), "1000:user\n");
    EXPECT_EQ(testfiles::read("/etc/tarn/policydata/one"), "message of one");
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(Finalize, RenamesInAFixedOrder) {
    std::vector<std::string> renamed;
    const auto onRename = interpose::renameat.replace([&](int from, const char* name, int to, const char* newName) {
        renamed.push_back(std::string(name) + " to " + newName);
        return interpose::renameat.real(from, name, to, newName);
    });
    EXPECT_EQ(manager_.finalizeTmpFile(), 0);
    EXPECT_EQ(renamed, (std::vector<std::string>{".scene_info to scene_info", ".funcinfo to funcinfo",
                                                 ".userinfo to userinfo", ".policydata to policydata"}));
}

TEST_F(Finalize, ReplacesWhatAnEarlierDeliveryLeft) {
    testfiles::write("/etc/tarn/scene_info", "old");
    testfiles::write("/etc/tarn/policydata/old/older", "old");
    EXPECT_EQ(manager_.finalizeTmpFile(), 0);
    EXPECT_EQ(testfiles::read("/etc/tarn/scene_info"), "99:ns\n");
    EXPECT_EQ(testfiles::list("/etc/tarn/policydata"),
              (std::vector<std::string>{"beginmsg", "endmsg", "namemsg", "one"}));
}

TEST_F(Finalize, AMissingSceneFileIsAnError) {
    std::filesystem::remove(paths::kSceneInfoTmp);
    EXPECT_EQ(manager_.finalizeTmpFile(), 1);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "##ERROR: in func finalizeTmpFile, rename scene info error."}}));
    EXPECT_TRUE(testfiles::exists(paths::kFuncInfoTmp)) << "nothing is renamed after the first error";
    EXPECT_TRUE(testfiles::exists(paths::kPolicyDataTmp));
}

TEST_F(Finalize, ASceneFileThatCannotBeRenamedIsAnError) {
    makeFailing(paths::kSceneInfo);
    EXPECT_EQ(manager_.finalizeTmpFile(), 1);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, failed(paths::kSceneInfoTmp, paths::kSceneInfo)},
                                                   {1, "##ERROR: in func finalizeTmpFile, rename scene info error."}}));
}

TEST_F(Finalize, ARefusedSceneFileIsMinusOne) {
    makeRefused(paths::kSceneInfoTmp);
    EXPECT_EQ(manager_.finalizeTmpFile(), -1);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "##ERROR: renameFile illegal path"},
                                                   {1, "##ERROR: in func finalizeTmpFile, rename scene info error."}}));
}

struct Optional {
    const char* name;
    const char* temporary;
    const char* final;
    const char* complaint;
};
class FinalizeOptional : public Finalize, public testing::WithParamInterface<Optional> {};

TEST_P(FinalizeOptional, AMissingFileIsPassedOver) {
    std::filesystem::remove(GetParam().temporary);
    EXPECT_EQ(manager_.finalizeTmpFile(), 0);
    EXPECT_TRUE(testfiles::exists(paths::kPolicyData));
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_P(FinalizeOptional, AFileThatCannotBeRenamedIsPassedOver) {
    makeFailing(GetParam().final);
    EXPECT_EQ(manager_.finalizeTmpFile(), 0);
    EXPECT_TRUE(testfiles::exists(paths::kPolicyData));
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, failed(GetParam().temporary, GetParam().final)}}));
}

TEST_P(FinalizeOptional, ARefusedFileIsAnError) {
    makeRefused(GetParam().temporary);
    EXPECT_EQ(manager_.finalizeTmpFile(), -1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "##ERROR: renameFile illegal path"}, {1, GetParam().complaint}}));
    EXPECT_TRUE(testfiles::exists(paths::kPolicyDataTmp));
    EXPECT_TRUE(testfiles::exists(paths::kSceneInfo)) << "what was renamed before keeps its final name";
}

INSTANTIATE_TEST_SUITE_P(Files, FinalizeOptional,
                         testing::Values(Optional{"Functions", paths::kFuncInfoTmp, paths::kFuncInfo,
                                                  "##ERROR: in func finalizeTmpFile, rename func info error."},
                                         Optional{"Users", paths::kUserInfoTmp, paths::kUserInfo,
                                                  "##ERROR: in func finalizeTmpFile, rename user info error."}),
                         [](const testing::TestParamInfo<Optional>& tested) { return tested.param.name; });

TEST_F(Finalize, AMissingDirectoryIsAnError) {
    std::filesystem::remove_all(paths::kPolicyDataTmp);
    EXPECT_EQ(manager_.finalizeTmpFile(), 1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "##ERROR: in func finalizeTmpFile, rename policy binary error."}}));
    EXPECT_TRUE(testfiles::exists(paths::kUserInfo));
}

TEST_F(Finalize, ARefusedDirectoryIsAnError) {
    std::filesystem::remove_all(paths::kPolicyDataTmp);
    testfiles::link("/var/log", paths::kPolicyDataTmp);
    EXPECT_EQ(manager_.finalizeTmpFile(), 1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "##ERROR: renameDir illegal path"},
                                 {1, "##ERROR: in func finalizeTmpFile, rename policy binary error."}}));
}

TEST_F(Finalize, AParentThatCannotBeOpenedIsMinusOne) {
    const auto onOpen = interpose::open.replace([](const char* path, int flags, mode_t mode) {
        if (std::string(path) == "/etc/tarn" || std::string(path) == "/etc/tarn/") {
            errno = EACCES;
            return -1;
        }
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(manager_.finalizeTmpFile(), -1);
    EXPECT_EQ(testlog::lines().back(), (Line{1, "##ERROR: in func finalizeTmpFile, rename scene info error."}));
}

}  // namespace
