// scene_info and funcinfo: where they are looked for, and what their lines say.
#include "libtarnnames/SideFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "support/Files.h"

using tarnnames::findSideFiles;
using tarnnames::FuncInfo;
using tarnnames::ProblemList;
using tarnnames::SceneInfo;
using tarnnames::SideFilePaths;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

namespace {

void touch(const std::string& path) {
    testfiles::write(path, "");
}

SceneInfo scenesOf(const std::string& text, ProblemList& problems) {
    SceneInfo scenes;
    scenes.add(text, problems);
    return scenes;
}

}  // namespace

TEST(SideFiles, LieInTheFolderAboveTheSet) {
    testfiles::makeDirectories("/etc/tarn/policydata");
    touch("/etc/tarn/scene_info");
    touch("/etc/tarn/funcinfo");
    touch("/etc/tarn/tarn-main/class-def.conf");
    for (const char* path : {"/etc/tarn/policydata", "/etc/tarn/policydata/", "/etc/tarn/policydata//"}) {
        const SideFilePaths found = findSideFiles(path, "");
        EXPECT_EQ(found.sceneInfo, "/etc/tarn/scene_info");
        EXPECT_EQ(found.funcInfo, "/etc/tarn/funcinfo");
        EXPECT_EQ(found.classDefinitions, "/etc/tarn/tarn-main/class-def.conf");
    }
}

TEST(SideFiles, OfAMessageFileLieAboveItsSetOrBesideIt) {
    touch("/etc/tarn/policydata/x");
    touch("/etc/tarn/policydata/funcinfo");
    touch("/etc/tarn/scene_info");
    const SideFilePaths found = findSideFiles("/etc/tarn/policydata/x", "");
    EXPECT_EQ(found.sceneInfo, "/etc/tarn/scene_info");
    EXPECT_EQ(found.funcInfo, "/etc/tarn/policydata/funcinfo");
}

TEST(SideFiles, OfASetThatWaitsForDeliveryWaitToo) {
    testfiles::makeDirectories("/etc/tarn/.policydata");
    testfiles::makeDirectories("/etc/tarn/policydata");
    touch("/etc/tarn/.scene_info");
    touch("/etc/tarn/scene_info");
    touch("/etc/tarn/funcinfo");
    EXPECT_EQ(findSideFiles("/etc/tarn/.policydata", "").sceneInfo, "/etc/tarn/.scene_info");
    EXPECT_EQ(findSideFiles("/etc/tarn/.policydata", "").funcInfo, "/etc/tarn/funcinfo");
    EXPECT_EQ(findSideFiles("/etc/tarn/policydata", "").sceneInfo, "/etc/tarn/scene_info");
}

TEST(SideFiles, ThatTheFolderAboveLacksComeFromTheGivenFolder) {
    testfiles::makeDirectories("/etc/tarn/a/set");
    touch("/etc/tarn/a/scene_info");
    touch("/etc/tarn/b/scene_info");
    touch("/etc/tarn/b/funcinfo");
    touch("/etc/tarn/b/class-def.conf");
    const SideFilePaths found = findSideFiles("/etc/tarn/a/set", "/etc/tarn/b/");
    EXPECT_EQ(found.sceneInfo, "/etc/tarn/a/scene_info");
    EXPECT_EQ(found.funcInfo, "/etc/tarn/b/funcinfo");
    EXPECT_EQ(found.classDefinitions, "/etc/tarn/b/class-def.conf");
}

TEST(SideFiles, AreNotInventedWhereThereAreNone) {
    testfiles::makeDirectories("/etc/tarn/a/set");
    const SideFilePaths found = findSideFiles("/etc/tarn/a/set", "");
    EXPECT_EQ(found.sceneInfo + found.funcInfo + found.classDefinitions, "");
}

TEST(SideFiles, SceneLinesAreReadAsTheLibraryReadsThem) {
    ProblemList problems;
    const SceneInfo scenes =
        scenesOf("7:net\n\n12abc:twelve\n4294967297:one\n-1:minus\n3::doubled\n8:late\n9:late\n10:unended", problems);
    EXPECT_THAT(problems.texts(), IsEmpty());
    EXPECT_THAT(scenes.numbers(),
                ElementsAre(Pair("doubled", 3U), Pair("late", 9U), Pair("minus", 4294967295U), Pair("net", 7U),
                            Pair("one", 1U), Pair("twelve", 12U), Pair("unended", 10U)));
}

TEST(SideFiles, UnreadableSceneLinesAreTold) {
    ProblemList problems;
    const SceneInfo scenes = scenesOf("12:a:b\n12\nx:net\n99999999999999999999999:net\n:5\n5:fine\n", problems);
    EXPECT_THAT(scenes.numbers(), ElementsAre(Pair("fine", 5U)));
    ASSERT_EQ(problems.texts().size(), 5U);
    EXPECT_EQ(problems.texts()[2], "line 3 is skipped: expected NUMBER:NAMESPACE");
}

TEST(SideFiles, FurtherProblemsAreCounted) {
    std::string lines;
    for (std::size_t line = 0; line < ProblemList::kMostKept; ++line) {
        lines += "bad\n";
    }
    ProblemList problems;
    scenesOf(lines, problems);
    EXPECT_EQ(problems.texts().size(), ProblemList::kMostKept);
    EXPECT_EQ(problems.texts().back(), "line 10 is skipped: expected NUMBER:NAMESPACE");
    scenesOf("bad\n7:net\nbad\n", problems);
    EXPECT_EQ(problems.texts().size(), ProblemList::kMostKept + 1);
    EXPECT_EQ(problems.texts().back(), "and 2 more in this file");
}

TEST(SideFiles, TextEndsAtTheFirstNul) {
    ProblemList problems;
    EXPECT_THAT(scenesOf(std::string("7:net\n\0008:fs\n", 11), problems).numbers(), ElementsAre(Pair("net", 7U)));
}

TEST(SideFiles, NamesThatShareANumberAllStay) {
    ProblemList problems;
    const SceneInfo scenes = scenesOf("7:net\n7:fs\n8:ipc\n", problems);
    EXPECT_THAT(scenes.names(7), ElementsAre("fs", "net"));
    EXPECT_THAT(scenes.names(9), IsEmpty());
}

TEST(SideFiles, ANameIsFoundUnderItsLastNumberOnly) {
    ProblemList problems;
    SceneInfo scenes = scenesOf("7:net\n7:fs\n8:net\n8:net\n", problems);
    EXPECT_THAT(scenes.names(7), ElementsAre("fs"));
    EXPECT_THAT(scenes.names(8), ElementsAre("net"));
    scenes.add("8:fs\n", problems);
    EXPECT_THAT(scenes.names(7), IsEmpty());
    EXPECT_THAT(scenes.names(8), ElementsAre("fs", "net"));
}

TEST(SideFiles, RepetitionsAreDroppedBehindTheFirst) {
    std::vector<std::string> texts{"z", "", "a", "z", "k", "", "a", "b", "z"};
    tarnnames::dropRepetitions(texts);
    EXPECT_THAT(texts, ElementsAre("z", "", "a", "k", "b"));
    texts.clear();
    tarnnames::dropRepetitions(texts);
    EXPECT_THAT(texts, IsEmpty());
}

TEST(SideFiles, FunctionsOfSeveralLinesAndTextsKeepTheirFirstPlaces) {
    ProblemList problems;
    FuncInfo functions;
    functions.add("net#m:z,m:a,m:z\nfs#m:z\nnet#m:k,m:a,m:b\n", problems);
    functions.add("net#m:b,m:0,m:z\n", problems);
    EXPECT_THAT(functions.functions(), ElementsAre(Pair("fs", ElementsAre("m:z")),
                                                   Pair("net", ElementsAre("m:z", "m:a", "m:k", "m:b", "m:0"))));
    EXPECT_THAT(problems.texts(), IsEmpty());
}

TEST(SideFiles, FunctionsKeepTheirOrderAndStandOnce) {
    ProblemList problems;
    FuncInfo functions;
    functions.add("net#m:f,m:f,m:g\nfs#,\nnet#m:h\nbad\nbad#a#b\n", problems);
    EXPECT_THAT(functions.functions(), ElementsAre(Pair("net", ElementsAre("m:f", "m:g", "m:h"))));
    ASSERT_EQ(problems.texts().size(), 2U);
    EXPECT_EQ(problems.texts()[0], "line 4 is skipped: expected NAMESPACE#MODULE:FUNCTION,...");
}

TEST(SideFiles, TextFileGivesTheReasonOfItsRefusal) {
    std::string text;
    EXPECT_EQ(tarnnames::readTextFile("/etc/tarn/nothing", text), ENOENT);
    testfiles::makeDirectories("/etc/tarn/folder");
    EXPECT_EQ(tarnnames::readTextFile("/etc/tarn/folder", text), EINVAL);
    testfiles::write("/etc/tarn/file", "abc");
    EXPECT_EQ(tarnnames::readTextFile("/etc/tarn/file", text), 0);
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(truncate("/etc/tarn/file", (64L << 20) + 1), 0);
    EXPECT_EQ(tarnnames::readTextFile("/etc/tarn/file", text), EFBIG);
}
