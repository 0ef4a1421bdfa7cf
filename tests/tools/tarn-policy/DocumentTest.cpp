// The guide, the manual page and --help say the same about exit codes and verbs as the tables in the code.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "ExitCodes.h"
#include "ReadStatus.h"
#include "Verb.h"
#include "reading/SetFinding.h"
#include "support/Files.h"
#include "support/Process.h"

namespace {

using testing::HasSubstr;

const std::string kGuide = TARN_SOURCE_DIR "/docs/tarn-policy.md";
const std::string kManual = TARN_SOURCE_DIR "/docs/man/tarn-policy.1";

std::string pageOf(const std::string& verb) {
    return TARN_SOURCE_DIR "/docs/man/tarn-policy-" + verb + ".1";
}

// The verbs that have a manual page of their own.
std::set<std::string> readingVerbs() {
    std::set<std::string> verbs;
    for (const ReadStatusText& row : readStatusTable()) {
        verbs.insert(row.verb);
    }
    return verbs;
}

std::string wordsOf(const VerbEntry& entry) {
    return std::string(entry.parent) + (*entry.parent == '\0' ? "" : " ") + entry.name;
}

TEST(DocumentTest, TheGuideHoldsTheTableOfExitCodes) {
    const std::string guide = testfiles::read(kGuide);
    const std::string table = exitCodeMarkdown();
    const std::size_t begin = guide.find("| Code | Name | Meaning |");
    ASSERT_NE(begin, std::string::npos);
    EXPECT_EQ(guide.substr(begin, guide.find("\n\n", begin) + 1 - begin), table);
}

TEST(DocumentTest, HelpHoldsTheTableOfExitCodes) {
    const auto outcome = testprocess::run({TARN_POLICY, "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr(exitCodeHelp()));
    EXPECT_EQ(outcome.err, "");
}

TEST(DocumentTest, TheManualHoldsEachExitCode) {
    const std::string manual = testfiles::read(kManual);
    for (const ExitCodeText& row : exitCodeTable()) {
        EXPECT_THAT(manual, HasSubstr(".It " + std::to_string(static_cast<int>(row.code)) + " (" + row.name + ")\n" +
                                      row.meaning + ".\n"));
    }
}

TEST(DocumentTest, TheGuideHoldsTheTableOfReadStatuses) {
    const std::string guide = testfiles::read(kGuide);
    const std::size_t begin = guide.find("| Verb | Status | Name | Meaning |");
    ASSERT_NE(begin, std::string::npos);
    EXPECT_EQ(guide.substr(begin, guide.find("\n\n", begin) + 1 - begin), readStatusMarkdown());
}

TEST(DocumentTest, TheGuideHoldsTheTableOfNotices) {
    const std::string guide = testfiles::read(kGuide);
    const std::size_t begin = guide.find("| Code | What it is |");
    ASSERT_NE(begin, std::string::npos);
    EXPECT_EQ(guide.substr(begin, guide.find("\n\n", begin) + 1 - begin), noticeMarkdown());
}

TEST(DocumentTest, EveryReadingVerbHasThreeStatusesAndItsManualPageHasThem) {
    ASSERT_EQ(readStatusTable().size(), 3 * readingVerbs().size());
    int expected = 0;
    for (const ReadStatusText& row : readStatusTable()) {
        EXPECT_EQ(static_cast<int>(row.status), expected++ % 3) << row.verb;
        EXPECT_THAT(testfiles::read(pageOf(row.verb)), HasSubstr(".It " + std::to_string(static_cast<int>(row.status)) +
                                                                 " (" + row.name + ")\n" + row.meaning + ".\n"));
    }
}

TEST(DocumentTest, ManualPagesOfReadingVerbsSpeakOfEveryOption) {
    for (const VerbEntry& entry : verbTable()) {
        if (readingVerbs().count(entry.name) == 0) {
            continue;
        }
        CLI::App app;
        entry.make()->configure(app);
        for (const CLI::Option* option : app.get_options()) {
            if (!option->get_lnames().empty() && option->get_lnames().front() != "help") {
                EXPECT_THAT(testfiles::read(pageOf(entry.name)), HasSubstr("Fl -" + option->get_lnames().front()));
            }
        }
    }
}

TEST(DocumentTest, GuideAndManualSpeakOfEveryVerb) {
    const std::string guide = testfiles::read(kGuide);
    const std::string manual = testfiles::read(kManual);
    for (const VerbEntry& entry : verbTable()) {
        EXPECT_THAT(guide, HasSubstr("## tarn-policy " + wordsOf(entry)));
        EXPECT_THAT(manual, HasSubstr(".It Cm " + wordsOf(entry)));
    }
}

TEST(DocumentTest, GuideAndManualSpeakOfEveryOption) {
    const std::string guide = testfiles::read(kGuide);
    const std::string manual = testfiles::read(kManual);
    for (const VerbEntry& entry : verbTable()) {
        CLI::App app;
        entry.make()->configure(app);
        for (const CLI::Option* option : app.get_options()) {
            if (!option->get_lnames().empty() && option->get_lnames().front() != "help") {
                const std::string name = option->get_lnames().front();
                EXPECT_THAT(guide, HasSubstr("--" + name));
                EXPECT_THAT(manual, HasSubstr("Fl -" + name));
            }
        }
    }
}

TEST(DocumentTest, CodesAscendAndAreDistinct) {
    int before = -1;
    for (const ExitCodeText& row : exitCodeTable()) {
        EXPECT_LT(before, static_cast<int>(row.code));
        before = static_cast<int>(row.code);
    }
}

TEST(DocumentTest, ManualPagesFormatWithoutWarnings) {
    std::vector<std::string> pages{kManual};
    for (const std::string& verb : readingVerbs()) {
        pages.push_back(pageOf(verb));
    }
    for (const std::string& page : pages) {
        const auto outcome = testprocess::run({"groff", "-ww", "-mdoc", "-Tutf8", "-z", page});
        constexpr int kNotFound = 127;
        if (outcome.status == kNotFound) {
            GTEST_SKIP() << "groff is not installed";
        }
        EXPECT_EQ(outcome.status, 0) << page;
        EXPECT_EQ(outcome.err, "") << page;
    }
}

}  // namespace
