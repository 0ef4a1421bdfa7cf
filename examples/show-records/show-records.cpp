// Prints the first records of a compiled set that carry a condition, as text: how to read messages back with
// the reader that the simulator uses, too.
//
//     show-records DIRECTORY [COUNT]
#include <cstdio>
#include <cstdlib>
#include <string>

#include "libtarnmessage/MessageText.h"
#include "libtarnmessage/SetReader.h"

namespace {

class Printer : public tarnmessage::SetVisitor {
public:
    Printer(const tarnmessage::FunctionTable& functions, long count) : functions_(functions), left_(count) {}

    void onFile(const std::string& name) override { file_ = name; }

    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        const std::string condition = tarnmessage::conditionInfixText(record, functions_);
        if (left_ > 0 && !condition.empty()) {
            std::printf("from %s:\n%s\n", file_.c_str(), tarnmessage::recordText(record, functions_).c_str());
            --left_;
        }
    }

private:
    const tarnmessage::FunctionTable& functions_;
    std::string file_;
    long left_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fputs("usage: show-records DIRECTORY [COUNT]\n", stderr);
        return 2;
    }
    // Once to learn the names of the functions, which records carry as numbers, and once to print.
    const tarnmessage::SetReport report = tarnmessage::readSet(argv[1]);
    if (!report.sound()) {
        std::fprintf(stderr, "show-records: %s is not a sound set %s\n", argv[1], report.problem.c_str());
        for (const tarnmessage::FileReport& file : report.files) {
            if (!file.sound()) {
                const std::string why = file.finding ? tarnmessage::toText(*file.finding) : file.problem;
                std::fprintf(stderr, "  %s: %s\n", file.name.c_str(), why.c_str());
            }
        }
        return 1;
    }
    Printer printer(report.functions, argc == 3 ? std::strtol(argv[2], nullptr, 10) : 1);
    static_cast<void>(tarnmessage::readSet(argv[1], printer));
    return 0;
}
