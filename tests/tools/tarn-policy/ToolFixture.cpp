#include "ToolFixture.h"

#include <fcntl.h>
#include <json/reader.h>
#include <json/writer.h>
#include <poll.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <sstream>

#include "Common/Handles.h"
#include "support/Files.h"

namespace tooltest {

namespace {

Json::Value parse(const char* text) {
    return parseJson(text);
}

}  // namespace

Json::Value smallPolicy() {
    return parse(R"({
        "tarnPolicy": 1,
        "namespaces": {"net": ["netmod:check", "netmod:log"], "quiet": []},
        "users": {"alice": 1000},
        "files": {"subject_file": ["/usr/bin/a", "/usr/bin/b"], "object_file": ["/srv/x", "/srv/y"]},
        "groups": {
            "base": {"rules": [
                {"subjects": ["/usr/bin/a", "/usr/bin/b"], "objects": ["/srv/x"], "class": "file", "perm": "read",
                 "namespace": "net", "group": "g", "module": "netmod", "condition":
                    [{"type": "call", "function": "check", "params": [7, "ab"]}]},
                {"subjects": ["/usr/bin/a"], "objects": ["/srv/y"], "class": "file", "perm": "write",
                 "namespace": "net", "group": "g", "module": "netmod"}]},
            "extra": {"rules": [
                {"subjects": ["/usr/bin/b"], "objects": ["/srv/x", "/srv/y"], "class": "file", "perm": "write",
                 "namespace": "quiet", "group": "h", "module": "netmod"}]}}
    })");
}

Json::Value bulkyPolicy(unsigned int count) {
    Json::Value policy = smallPolicy();
    Json::Value rule = policy["groups"]["base"]["rules"][1];
    rule["actions"][0]["function"] = "log";
    rule["actions"][0]["params"][0] = std::string(900, 'x');
    policy["groups"] = Json::Value(Json::objectValue);
    Json::Value& rules = policy["groups"]["base"]["rules"];
    for (unsigned int i = 0; i < count; ++i) {
        rules.append(rule);
    }
    return policy;
}

Json::Value smallLabels() {
    return parse(R"({
        "format": "tarn-labels", "version": 1,
        "labels": {
            "subject_file": {"/usr/bin/a": [[1, 2, 3]], "/usr/bin/b": [[4, 5, 6], [7, 8, 9]]},
            "object_file": {"/srv/x": [[10, 11, 12]], "/srv/y": [[13, 14, 15]]}}
    })");
}

void ToolTest::SetUp() {
    writePolicy(smallPolicy());
    writeJson(kLabels, smallLabels());
    writeJson(kClasses, parse(R"({"file": {"value": 1, "perms": {"read": 1, "write": 2}}})"));
    testfiles::write(kConfiguration, "threadnum=1\n");
}

void ToolTest::TearDown() {
    if (simulator_) {
        static_cast<void>(kill(simulator_->pid(), SIGTERM));
        static_cast<void>(simulator_->finish());
        static_cast<void>(umount2(kKernel, MNT_DETACH));
    }
}

void ToolTest::writeJson(const std::string& path, const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = " ";
    testfiles::write(path, Json::writeString(builder, value));
}

void ToolTest::plainKernel(const std::vector<std::string>& variables) {
    testfiles::write(kDeliver, "");
    for (const std::string& variable : variables) {
        testfiles::write(std::string(kKernel) + "/paras/" + variable, "");
    }
}

void ToolTest::simulatedKernel(const std::vector<std::string>& variables, const std::vector<std::string>& refusals) {
    if (!UniqueFd(open("/dev/fuse", O_RDWR | O_CLOEXEC)).valid()) {
        GTEST_SKIP() << "/dev/fuse is closed to this user: no kernel entry that refuses";
    }
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), 0), 0);
    const UniqueFd readEnd(ends[0]);
    UniqueFd writeEnd(ends[1]);
    ASSERT_EQ(fcntl(readEnd.get(), F_SETFD, FD_CLOEXEC), 0);
    std::vector<std::string> words = {
        TARN_KERNEL_SIM, "--mount", kKernel, "--transcript", kTranscript, "--ready-fd", std::to_string(writeEnd.get())};
    for (const std::string& variable : variables) {
        words.insert(words.end(), {"--para", variable});
    }
    for (const std::string& refusal : refusals) {
        words.insert(words.end(), {"--refuse", refusal});
    }
    simulator_ = std::make_unique<testprocess::Running>(words);
    writeEnd.reset();
    char byte = 0;
    if (read(readEnd.get(), &byte, 1) != 1) {
        const Outcome end = simulator_->finish();
        simulator_.reset();
        FAIL() << "the simulator did not start: " << end.err;
    }
}

testprocess::Outcome ToolTest::tool(const std::vector<std::string>& arguments,
                                    const std::vector<std::string>& environment) {
    std::vector<std::string> words = {TARN_POLICY};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return testprocess::run(words, environment);
}

testprocess::Outcome ToolTest::toolWithLabelManager(const std::string& behaviour,
                                                    const std::vector<std::string>& arguments) {
    // A sanitizer's run-time wants to be loaded first; here it need not be.
    return tool(arguments, {"LD_PRELOAD=" TARN_LABEL_DOUBLE, "TARN_TEST_LABELS=" + behaviour,
                            "ASAN_OPTIONS=verify_asan_link_order=0"});
}

void ToolTest::saveVariables(const std::string& text) {
    testfiles::write(kDynamicInfo, text);
}

std::string ToolTest::kernelValue(const std::string& variable) {
    return testfiles::read(std::string(kKernel) + "/paras/" + variable);
}

Json::Value parseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    std::istringstream stream(text);
    Json::Value value;
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(builder, stream, &value, &errors)) << errors << "\n" << text;
    return value;
}

std::vector<std::string> snapshot(const std::string& directory) {
    std::vector<std::string> lines;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        const std::string path = entry.path();
        lines.push_back(path + " " + std::to_string(testfiles::mode(path)) + " " +
                        (entry.is_regular_file() ? testfiles::read(path) : ""));
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

}  // namespace tooltest
