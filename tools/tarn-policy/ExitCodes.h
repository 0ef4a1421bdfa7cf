// The exit codes of tarn-policy: the one table that --help, the manual page and the guide are held against.
#ifndef TARN_POLICY_EXIT_CODES_H
#define TARN_POLICY_EXIT_CODES_H

#include <string>
#include <vector>

enum class ExitCode {
    kDone = 0,
    kFailed = 1,
    kUsage = 2,
    kNothingToSend = 3,
    kEmptyRules = 4,
    kMistakes = 5,
    kLabels = 6,
    kUnsoundSet = 7,
    kNoKernel = 8,
    kRefused = 9,
    kBusy = 10,
    kVariables = 11,
    kInternal = 70,
};

struct ExitCodeText {
    ExitCode code;
    const char* name;  // stable word, also in the JSON object
    const char* meaning;
};

// In ascending order. Codes are only ever added: scripts rely on them.
const std::vector<ExitCodeText>& exitCodeTable();

const char* exitCodeName(ExitCode code);

// The table as it stands in --help: two aligned columns.
std::string exitCodeHelp();

// The table as it stands in docs/tarn-policy.md.
std::string exitCodeMarkdown();

#endif
