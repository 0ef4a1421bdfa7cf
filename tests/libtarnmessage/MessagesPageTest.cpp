// The examples of docs/messages.md are the golden messages, and the reader takes them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "MessageTools.h"

namespace {

constexpr char kFence[] = "```hex ";

// Annotated hex by the name that stands behind the fence.
std::map<std::string, std::string> examples() {
    std::ifstream page(TARN_DOCS_DIR "/messages.md");
    std::map<std::string, std::string> found;
    std::string* open = nullptr;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind(kFence, 0) == 0) {
            open = &found[line.substr(sizeof(kFence) - 1)];
        } else if (line == "```") {
            open = nullptr;
        } else if (open != nullptr) {
            *open += line + "\n";
        }
    }
    return found;
}

}  // namespace

TEST(MessagesPage, HasAnExampleOfEveryKindOfMessage) {
    std::map<std::uint32_t, int> types;
    for (const auto& [name, text] : examples()) {
        ++types[messagetools::wordAt(golden::bytesOf(text), 16)];
    }
    EXPECT_THAT(types, testing::ElementsAre(testing::Pair(1, 1), testing::Pair(2, 1), testing::Pair(3, 4),
                                            testing::Pair(4, 2)));
}

TEST(MessagesPage, ExamplesAreTheGoldenMessages) {
    for (const auto& [name, text] : examples()) {
        EXPECT_EQ(golden::bytesOf(text), golden::message(name)) << name;
    }
}

TEST(MessagesPage, ExamplesAreTakenByTheReader) {
    for (const auto& [name, text] : examples()) {
        const auto finding = messagetools::readMessage(golden::bytesOf(text));
        EXPECT_FALSE(finding) << name << ": " << toText(*finding);
    }
}
