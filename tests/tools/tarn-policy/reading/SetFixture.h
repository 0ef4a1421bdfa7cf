// Sets of golden messages, with side files, for the verbs that look at sets.
#ifndef TARN_TESTS_SET_FIXTURE_H
#define TARN_TESTS_SET_FIXTURE_H

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/Golden.h"
#include "support/LongRecord.h"
#include "support/PlainMessage.h"
#include "support/Process.h"

namespace settest {

using golden::plainMessage;
using golden::withWord;

inline constexpr char kFolder[] = "/etc/tarn/copy";
inline constexpr char kSet[] = "/etc/tarn/copy/policydata";

class SetTest : public testing::Test {
protected:
    using Outcome = testprocess::Outcome;

    static std::string at(const std::string& name) { return std::string(kSet) + "/" + name; }
    static void put(const std::string& file, const std::string& golden) {
        testfiles::write(at(file), golden::message(golden));
    }

    // Begin, namespace, four policy messages, end: 5 records of net, with calls of its two functions.
    static void putSet() {
        put("beginmsg", "begin");
        put("namemsg", "namespace");
        put("base_0_net_g_0", "policy-plain");
        put("base_0_net_h_0", "policy-condition");
        put("base_1_net_g_0", "policy-actions");
        put("base_1_net_h_0", "policy-pairs");
        put("endmsg", "end");
    }
    static void putSideFiles() {
        testfiles::write(std::string(kFolder) + "/scene_info", "4075427327:net\n");
        testfiles::write(std::string(kFolder) + "/funcinfo", "net#netmod:check,netmod:log\n");
        testfiles::write(std::string(kFolder) + "/tarn-main/class-def.conf",
                         R"({"file": {"value": 1, "perms": {"read": 1, "write": 2}}})");
        testfiles::write(std::string(kFolder) + "/labels.json", R"({"format": "tarn-labels", "version": 1, "labels": {
            "subject_file": {"/usr/bin/a": [["0x11", "0x12", "0x13"]]},
            "object_file": {"/srv/x": [["0x21", "0x22", "0x23"]]}}})");
    }

    // A set of 2 MB with one record that would be gigabytes with all names written out.
    static void putLongRecord() {
        put("beginmsg", "begin");
        testfiles::write(at("namemsg"), longrecord::namespaceMessage());
        testfiles::write(at("base_0_net_g_0"), longrecord::policyMessage());
        put("endmsg", "end");
    }

    // A set of 2 MB with thousands of records that have two such names each.
    static constexpr std::size_t kLongName = 500000;
    static constexpr std::uint32_t kManyRecords = 6000;
    static void putLongNames() {
        put("beginmsg", "begin");
        testfiles::write(at("namemsg"), longrecord::namespaceMessage(kLongName, std::string(kLongName, 'n')));
        testfiles::write(at("base_0_net_g_0"), longrecord::policyMessage(0, 1, kManyRecords));
        put("endmsg", "end");
    }

    static Outcome tool(std::vector<std::string> words) {
        words.insert(words.begin(), TARN_POLICY);
        return testprocess::run(words);
    }
    // A command line of the shell, in which tarn-policy is $0.
    static Outcome shell(const std::string& line) { return testprocess::run({"bash", "-c", line, TARN_POLICY}); }

    // The tool with a pipe as standard output that nobody reads any more.
    static Outcome unread(const std::string& words) {
        return shell(
            "mkfifo /etc/tarn/pipe && exec 4<>/etc/tarn/pipe 5>/etc/tarn/pipe 4<&- && rm /etc/tarn/pipe && "
            "exec \"$0\" " +
            words + " >&5");
    }

    // The most memory that a run needed, in KiB. Its output goes nowhere.
    static long peakOfTool(std::vector<std::string> words) {
        words.insert(words.begin(), TARN_POLICY);
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            static_cast<void>(dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO));
            execv(argv[0], argv.data());
            _exit(127);
        }
        int status = 0;
        rusage usage{};
        EXPECT_EQ(wait4(child, &status, 0, &usage), child);
        EXPECT_EQ(status, 0);
        return usage.ru_maxrss;
    }

    static Json::Value parse(const std::string& text) {
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        std::istringstream stream(text);
        Json::Value value;
        std::string errors;
        EXPECT_TRUE(Json::parseFromStream(builder, stream, &value, &errors)) << errors;
        return value;
    }
    static std::vector<Json::Value> parseLines(const std::string& text) {
        std::vector<Json::Value> values;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            values.push_back(parse(line));
        }
        return values;
    }
};

}  // namespace settest

#endif
