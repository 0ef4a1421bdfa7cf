// The digest is SHA-256, as the examples of its standard and another program have it.
#include "libtarnrules/Sha256.h"

#include <gtest/gtest.h>

#include <string>

#include "support/Files.h"
#include "support/Process.h"

namespace {

using tarnrules::Sha256;

std::string hexOf(const std::string& text) {
    Sha256 digest;
    digest.add(text);
    return digest.hex();
}

TEST(Sha256Test, ExamplesOfTheStandard) {
    EXPECT_EQ(hexOf(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hexOf("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(hexOf(std::string(1000000, 'a')), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256Test, PiecesGiveTheDigestOfTheWhole) {
    Sha256 digest;
    std::string text;
    for (int i = 0; i < 300; ++i) {
        digest.add(std::to_string(i));
        text += std::to_string(i);
    }
    testfiles::write("/etc/tarn/text", text);
    const auto outcome = testprocess::run({"sha256sum", "/etc/tarn/text"});
    ASSERT_EQ(outcome.status, 0);
    EXPECT_EQ(digest.hex() + "  /etc/tarn/text\n", outcome.out);
}

}  // namespace
