// JSON text, held against a parser.
#include "libtarnnames/JsonText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include <random>
#include <sstream>

#include "libtarnmessage/MessageText.h"

namespace {

using namespace tarnnames;

Json::Value parse(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    std::istringstream stream("[" + text + "]");
    Json::Value value;
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(builder, stream, &value, &errors)) << errors << text;
    return value[0];
}

std::string stringOf(const std::string& bytes) {
    std::string json;
    appendJsonString(json, bytes);
    return json;
}

}  // namespace

TEST(JsonText, Utf8IsToldFromOtherBytes) {
    for (const char* text :
         {"", "a", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xed\x9f\xbf", "\xf4\x8f\xbf\xbf"}) {
        EXPECT_TRUE(isUtf8(text)) << text;
    }
    for (const char* text : {"\x80", "\xc3", "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xf0\x8f\xbf\xbf",
                             "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff", "a\xe2\x82", "\xc3\x28", "\xe2\x28\xa1"}) {
        EXPECT_FALSE(isUtf8(text)) << testing::PrintToString(text);
    }
}

TEST(JsonText, StringsComeBackAsTheyWere) {
    for (const std::string& text :
         {std::string("a\"b\\c/\n\r\t\x01\x7f"), std::string("\0x", 2), std::string("\xc3\xa9\xf0\x9f\x98\x80")}) {
        EXPECT_EQ(parse(stringOf(text)).asString(), text);
    }
}

TEST(JsonText, OtherBytesBecomeTheReplacementCharacterAndStandBesideIt) {
    EXPECT_EQ(parse(stringOf("a\xff"
                             "b"))
                  .asString(),
              "a\xef\xbf\xbd"
              "b");
    std::string json;
    appendJsonBytes(json, "name", "a\xff");
    EXPECT_EQ(json, "\"name\":\"a\\ufffd\",\"nameHex\":\"61ff\"");
    json.clear();
    appendJsonBytes(json, "name", "ab");
    EXPECT_EQ(json, "\"name\":\"ab\"");
}

TEST(JsonText, AnyBytesGiveAString) {
    std::mt19937 random(4714);
    for (int round = 0; round < 3000; ++round) {
        std::string bytes(random() % 20, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        const std::string json = stringOf(bytes);
        EXPECT_TRUE(isUtf8(json));
        EXPECT_TRUE(parse(json).isString());
    }
}

TEST(JsonText, NumbersKeepTheirDigits) {
    std::string json;
    appendJsonNumber(json, 18446744073709551615U);
    json += ' ';
    appendJsonSigned(json, -9223372036854775807L - 1);
    json += ' ';
    appendJsonHex(json, 18446744073709551615U);
    json += ' ';
    appendJsonHex(json, 0);
    EXPECT_EQ(json, "18446744073709551615 -9223372036854775808 \"0xffffffffffffffff\" \"0x0\"");
}

TEST(JsonText, ArraysHaveTheirElements) {
    std::string json;
    appendJsonArray(json, "x", {});
    appendJsonArray(json, "y", {"a", "b\""});
    EXPECT_EQ(json, "\"x\":[]\"y\":[\"a\",\"b\\\"\"]");
}

TEST(JsonText, ArraysWithOtherBytesHaveAllOfThemInASecondOne) {
    std::string json;
    appendJsonArray(json, "x", {"a", "\xff", ""});
    EXPECT_EQ(json, "\"x\":[\"a\",\"\\ufffd\",\"\"],\"xHex\":[\"61\",\"ff\",\"\"]");
}

TEST(JsonText, LongNameIsCutAndHasItsLengthBesideIt) {
    const std::string most(tarnmessage::kMostNameBytes, 'n');
    std::string json;
    appendJsonName(json, "x", most);
    EXPECT_EQ(json, "\"x\":\"" + most + "\"");
    json.clear();
    appendJsonName(json, "x", most + "\xff");
    EXPECT_EQ(json, "\"x\":\"" + most + "\",\"xBytes\":256");
}

TEST(JsonText, NamesAreCutAndCounted) {
    const std::string most(tarnmessage::kMostNameBytes, 'n');
    std::string json;
    appendJsonNames(json, "x", {"a", most});
    EXPECT_EQ(json, "\"x\":[\"a\",\"" + most + "\"]");
    json.clear();
    appendJsonNames(json, "x", {"a", most + "b"});
    EXPECT_EQ(json, "\"x\":[\"a\",\"" + most + "\"],\"xBytes\":[1,256]");
    json.clear();
    appendJsonNames(json, "x", {most, "a", "b"});
    EXPECT_EQ(json, "\"x\":[\"" + most + "\"],\"xOmitted\":2");
    json.clear();
    appendJsonNames(json, "x", {"\xff", most + "b", "c"});
    EXPECT_THAT(json, testing::EndsWith("],\"xBytes\":[1,256],\"xOmitted\":1"));
    EXPECT_THAT(json, testing::HasSubstr("\"xHex\":[\"ff\",\"6e"));
}

TEST(JsonText, IntegersBeyondADoubleAreTextsToo) {
    const auto textOf = [](std::int64_t value) {
        std::string json;
        appendJsonInteger(json, value);
        return json;
    };
    EXPECT_EQ(textOf(-7), "\"integer\":-7");
    EXPECT_EQ(textOf(9007199254740992), "\"integer\":9007199254740992");
    EXPECT_EQ(textOf(-9007199254740992), "\"integer\":-9007199254740992");
    EXPECT_EQ(textOf(9007199254740993), "\"integer\":9007199254740993,\"integerText\":\"9007199254740993\"");
    EXPECT_EQ(textOf(-9223372036854775807 - 1),
              "\"integer\":-9223372036854775808,\"integerText\":\"-9223372036854775808\"");
}

TEST(JsonText, OnlyCountsThatAreNotZeroAreOmissions) {
    std::string json;
    appendJsonOmitted(json, {{"a", 0}, {"b", 0}});
    EXPECT_EQ(json, "");
    appendJsonOmitted(json, {{"a", 0}, {"b", 2}, {"c", 3}});
    EXPECT_EQ(json, ",\"truncated\":true,\"omitted\":{\"b\":2,\"c\":3}");
}
