#include "libtarnmessage/SetReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tarnmessage {

namespace {

class Collector : public WalkVisitor {
public:
    Collector(SetReport& report, SetVisitor& next) : report_(report), next_(next) {}
    void onFile(const std::string& name, std::string_view /*bytes*/) override { next_.onFile(name); }
    void onFileEnd(const FileReport& file) override { report_.files.push_back(file); }
    void onPassedOver(const std::string& name, PassedOver why) override {
        if (why == PassedOver::kLink) {
            FileReport file;
            file.name = name;
            file.problem = kLinkProblem;
            report_.files.push_back(file);
        }
    }
    void onHeader(const kernelmsg::MessageHeader& header) override { next_.onHeader(header); }
    void onNamespace(const NamespaceView& block) override { next_.onNamespace(block); }
    void onPolicy(const PolicyRecordView& record) override { next_.onPolicy(record); }

private:
    SetReport& report_;
    SetVisitor& next_;
};

}  // namespace

bool SetReport::sound() const {
    return problem.empty() &&
           std::all_of(files.begin(), files.end(), [](const FileReport& file) { return file.sound(); });
}

int readMessageFile(const std::string& path, std::string& bytes) {
    MessageFile file;
    const int failure = file.read(path);
    bytes = file.bytes();
    return failure;
}

SetReport readSet(const std::string& directory, SetVisitor& visitor) {
    SetReport report;
    Collector collector(report, visitor);
    SetWalk walk(directory);
    const WalkOutcome outcome = walk.run(collector);
    report.problem = outcome.problem;
    if (outcome.problem.empty() && !outcome.isDirectory) {
        report.problem = std::string("can't be read: ") + std::strerror(ENOTDIR);
        report.files.clear();
        return report;
    }
    report.records = outcome.records;
    report.functions = walk.functions();
    return report;
}

SetReport readSet(const std::string& directory) {
    SetVisitor nobody;
    return readSet(directory, nobody);
}

}  // namespace tarnmessage
