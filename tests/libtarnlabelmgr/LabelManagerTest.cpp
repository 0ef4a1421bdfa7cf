#include "libtarnlabelmgr/LabelManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>

#include "libtarnlabelmgr/LabelTable.h"
#include "support/Files.h"
#include "support/StdoutCapture.h"

namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::StartsWith;

using Answer = std::map<std::string, std::map<std::string, std::vector<TARN_ID>>>;
using Oids = std::map<std::string, TARN_ID>;

MATCHER_P3(IsId, first, second, third, "") {
    return arg.uiWord[0] == std::uint64_t{first} && arg.uiWord[1] == std::uint64_t{second} &&
           arg.uiWord[2] == std::uint64_t{third};
}

constexpr char kTable[] = R"({"format": "tarn-labels", "version": 1,
    "labels": {"subject_file": {"/a": [[1,2,3],[4,5,6]], "/empty": []}, "object_pkg": {"p": [["0x10",11,"12"]]}},
    "devices": {"/dev/sda": [21,22,23], "/dev/sdb": [24,25,26]},
    "modules": {"ext4": [31,32,33]}})";

void writeTable(const std::string& text) {
    testfiles::write(labeltable::kPath, text);
}

TEST(LabelManager, AnswersEveryNameOfARequestUnderItsKind) {
    writeTable(kTable);
    Answer answer;
    EXPECT_EQ(policies_parse({{"subject_file", {"/a"}}, {"object_pkg", {"p"}}}, answer), 0);
    EXPECT_THAT(answer, ElementsAre(Pair("object_pkg", ElementsAre(Pair("p", ElementsAre(IsId(16U, 11U, 12U))))),
                                    Pair("subject_file",
                                         ElementsAre(Pair("/a", ElementsAre(IsId(1U, 2U, 3U), IsId(4U, 5U, 6U)))))));
}

TEST(LabelManager, LeavesOutNamesThatTheTableDoesNotKnow) {
    writeTable(kTable);
    Answer answer;
    EXPECT_EQ(policies_parse({{"subject_file", {"/a", "/unknown", "p"}}, {"object_dir", {"/a"}}}, answer), 0);
    ASSERT_EQ(answer.size(), 1U);
    EXPECT_EQ(answer["subject_file"].size(), 1U);
}

TEST(LabelManager, GivesAnEmptyListWhereTheTableHasOne) {
    writeTable(kTable);
    Answer answer;
    EXPECT_EQ(policies_parse({{"subject_file", {"/empty"}}}, answer), 0);
    EXPECT_THAT(answer, ElementsAre(Pair("subject_file", ElementsAre(Pair("/empty", testing::IsEmpty())))));
}

TEST(LabelManager, AnswersAnEmptyRequestWithNothing) {
    writeTable(kTable);
    Answer answer;
    EXPECT_EQ(policies_parse({}, answer), 0);
    EXPECT_TRUE(answer.empty());
}

TEST(LabelManager, GivesOneIdentifierForEachKnownDevice) {
    writeTable(kTable);
    Oids oids;
    EXPECT_EQ(getDeviceOids({"/dev/sda", "ext4", "/dev/none", "/dev/sda"}, oids), 0);
    EXPECT_THAT(oids, ElementsAre(Pair("/dev/sda", IsId(21U, 22U, 23U))));
}

TEST(LabelManager, GivesOneIdentifierForEachKnownModule) {
    writeTable(kTable);
    Oids oids;
    EXPECT_EQ(getKernelModuleOids({"ext4", "xfs", "/dev/sda"}, oids), 0);
    EXPECT_THAT(oids, ElementsAre(Pair("ext4", IsId(31U, 32U, 33U))));
}

TEST(LabelManager, SeesAChangeOfTheTableAtOnce) {
    // Same length and, most likely, the same tick of the file system's clock.
    Oids oids;
    for (const char digit : {'1', '2', '3', '4'}) {
        writeTable(std::string(R"({"format": "tarn-labels", "version": 1, "modules": {"m": [)") + digit + ",0,0]}}");
        oids.clear();
        ASSERT_EQ(getKernelModuleOids({"m"}, oids), 0);
        EXPECT_EQ(oids.at("m").uiWord[0], static_cast<std::uint64_t>(digit - '0'));
    }
}

TEST(LabelManager, FailsWhenTheTableIsTakenAwayAfterASuccess) {
    writeTable(kTable);
    Oids oids;
    ASSERT_EQ(getDeviceOids({"/dev/sda"}, oids), 0);
    ASSERT_EQ(std::remove(labeltable::kPath), 0);
    StdoutCapture quiet(2);
    EXPECT_EQ(getDeviceOids({"/dev/sda"}, oids), labeltable::kUnreadable);
}

TEST(LabelManager, MissingTableIsSaidOnStandardErrorByEachFunction) {
    Answer answer;
    Oids oids;
    StdoutCapture capture(2);
    EXPECT_EQ(policies_parse({{"subject_file", {"/a"}}}, answer), 201);
    EXPECT_EQ(getDeviceOids({"d"}, oids), 201);
    EXPECT_EQ(getKernelModuleOids({"m"}, oids), 201);
    const std::string line = "libtarnlabelmgr: /etc/tarn/labels.json: No such file or directory\n";
    EXPECT_EQ(capture.finish(), line + line + line);
    EXPECT_TRUE(answer.empty());
    EXPECT_TRUE(oids.empty());
}

struct BadTable {
    const char* text;
    int status;
    const char* message;
};

TEST(LabelManager, MalformedTableIsAStatusWithItsPlaceAndNoAnswer) {
    const BadTable tables[] = {
        {"{", 202, "libtarnlabelmgr: /etc/tarn/labels.json: Line 1, Column 2"},
        {R"({"format": "tarn-labels", "version": 1, "devices": {"d": [1, 2, "x"]}})", 203,
         "libtarnlabelmgr: /etc/tarn/labels.json: line 1, /devices/d/2: expected"},
        {R"({"format": "tarn-labels", "version": 9})", 204,
         "libtarnlabelmgr: /etc/tarn/labels.json: line 1, the whole"},
    };
    for (const BadTable& table : tables) {
        writeTable(table.text);
        Oids oids;
        StdoutCapture capture(2);
        EXPECT_EQ(getDeviceOids({"d"}, oids), table.status);
        EXPECT_THAT(capture.finish(), StartsWith(table.message));
        EXPECT_TRUE(oids.empty());
    }
}

TEST(LabelManager, AnswersManyThreadsWhileTheTableChanges) {
    writeTable(kTable);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&wrong] {
            for (int i = 0; i < 200; ++i) {
                Oids oids;
                if (getDeviceOids({"/dev/sdb"}, oids) != 0 || oids.at("/dev/sdb").uiWord[0] != 24) {
                    ++wrong;
                }
            }
        });
    }
    // The new table replaces the old one by its name, so that no reader can see half of it.
    for (int i = 0; i < 50; ++i) {
        testfiles::write("/etc/tarn/.new", std::string(kTable) + std::string(static_cast<std::size_t>(i % 3), '\n'));
        std::rename("/etc/tarn/.new", labeltable::kPath);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST(LabelManager, AnswersAHundredThousandNames) {
    constexpr int kNames = 100000;
    std::string text = R"({"format": "tarn-labels", "version": 1, "labels": {"subject_file": {)";
    std::vector<std::string> names;
    for (int i = 0; i < kNames; ++i) {
        names.push_back("/usr/share/application/file" + std::to_string(i));
        text += (i == 0 ? "\"" : ",\n\"") + names.back() + "\": [[" + std::to_string(i) + ", 1, 2]]";
    }
    writeTable(text + "}}}");
    Answer answer;
    ASSERT_EQ(policies_parse({{"subject_file", names}}, answer), 0);
    ASSERT_EQ(answer["subject_file"].size(), names.size());
    EXPECT_THAT(answer["subject_file"][names.back()], ElementsAre(IsId(static_cast<unsigned>(kNames - 1), 1U, 2U)));
}

}  // namespace
