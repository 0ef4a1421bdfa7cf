#include "ExitCodes.h"

#include <iomanip>
#include <sstream>

const std::vector<ExitCodeText>& exitCodeTable() {
    static const std::vector<ExitCodeText> kTable{
        {ExitCode::kDone, "done", "everything that was asked for is done"},
        {ExitCode::kFailed, "failed", "a step failed on this machine: a file, a directory or the compilation"},
        {ExitCode::kUsage, "usage", "the command line is wrong; nothing was done"},
        {ExitCode::kNothingToSend, "nothing-to-send", "there is no compiled set to send, or to put a section into"},
        {ExitCode::kEmptyRules, "empty-rules", "rules gave no record, or not the expected ones; nothing was sent"},
        {ExitCode::kMistakes, "mistakes",
         "the policy has mistakes, or the section cannot be compiled by itself; nothing was compiled"},
        {ExitCode::kLabels, "labels", "the label manager gave no answer; nothing was compiled"},
        {ExitCode::kUnsoundSet, "unsound-set", "the compiled set is incomplete or damaged; nothing was sent"},
        {ExitCode::kNoKernel, "no-kernel", "the kernel's entry is missing: the module is not loaded; nothing was sent"},
        {ExitCode::kRefused, "refused", "a message was not delivered; the kernel may hold a part of the set"},
        {ExitCode::kBusy, "busy", "another process works on the set; nothing was done"},
        {ExitCode::kVariables, "variables", "a dynamic variable could not be switched, saved or removed"},
        {ExitCode::kInternal, "internal", "an unexpected error; the message says what was being done"},
    };
    return kTable;
}

const char* exitCodeName(ExitCode code) {
    for (const ExitCodeText& row : exitCodeTable()) {
        if (row.code == code) {
            return row.name;
        }
    }
    return "unknown";
}

std::string exitCodeHelp() {
    std::ostringstream text;
    text << "Exit codes:\n";
    for (const ExitCodeText& row : exitCodeTable()) {
        text << "  " << std::setw(2) << static_cast<int>(row.code) << "  " << std::left << std::setw(16) << row.name
             << std::right << row.meaning << "\n";
    }
    return text.str();
}

std::string exitCodeMarkdown() {
    std::ostringstream text;
    text << "| Code | Name | Meaning |\n|---|---|---|\n";
    for (const ExitCodeText& row : exitCodeTable()) {
        text << "| " << static_cast<int>(row.code) << " | " << row.name << " | " << row.meaning << " |\n";
    }
    return text.str();
}
