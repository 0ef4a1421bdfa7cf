// The examples of the manual pages are run as they stand, beside a set in the folder policydata and one that was compiled
// before it in yesterday/policydata.
#include <filesystem>

#include "SetFixture.h"

namespace {

using namespace settest;

// The lines between .Bd -literal and .Ed, without what mdoc needs in front of a dot.
std::vector<std::string> examplesOf(const std::string& page) {
    std::vector<std::string> lines;
    std::istringstream text(testfiles::read(page));
    bool isOpen = false;
    for (std::string line; std::getline(text, line);) {
        if (line.rfind(".Bd -literal", 0) == 0) {
            isOpen = true;
        } else if (line == ".Ed") {
            isOpen = false;
        } else if (isOpen) {
            lines.push_back(line);
        }
    }
    return lines;
}

class ManualExamplesTest : public SetTest {};

TEST_F(ManualExamplesTest, DoWhatTheySay) {
    putSet();
    putSideFiles();
    const std::string folder = kFolder;
    std::filesystem::create_directories(folder + "/yesterday");
    std::filesystem::copy(kSet, folder + "/yesterday/policydata");
    std::filesystem::create_directories(folder + "/bin");
    testfiles::link(TARN_POLICY, folder + "/bin/tarn-policy");
    std::size_t examples = 0;
    for (const std::string& name : testfiles::list(TARN_DOCS_DIR "/man")) {
        if (name.rfind("tarn-policy-", 0) != 0) {
            continue;
        }
        const std::vector<std::string> lines = examplesOf(TARN_DOCS_DIR "/man/" + name);
        EXPECT_FALSE(lines.empty()) << name;
        for (const std::string& line : lines) {
            const Outcome outcome =
                shell("set -o pipefail; cd " + folder + " && PATH=" + folder + "/bin:$PATH && " + line);
            EXPECT_EQ(outcome.status, 0) << line << "\n" << outcome.err;
            EXPECT_NE(outcome.out, "") << line;
            EXPECT_EQ(outcome.err, "") << line;
            ++examples;
        }
    }
    EXPECT_GT(examples, 0U);
}

}  // namespace
