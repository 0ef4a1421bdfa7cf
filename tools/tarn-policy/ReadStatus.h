// Exit statuses of the verbs that only look at sets. As those of diff(1): 0 and 1 are the two answers, 2 means that there
// is none. The one table that the guide and the manual pages are held against.
#ifndef TARN_POLICY_READ_STATUS_H
#define TARN_POLICY_READ_STATUS_H

#include <string>
#include <vector>

#include "ExitCodes.h"
#include "Verb.h"

enum class ReadStatus { kYes = 0, kNo = 1, kTrouble = 2 };

struct ReadStatusText {
    const char* verb;
    ReadStatus status;
    const char* name;  // stable word, also in the JSON object
    const char* meaning;
};

// By verb, then status.
const std::vector<ReadStatusText>& readStatusTable();

// The table as it stands in docs/tarn-policy.md.
std::string readStatusMarkdown();

// A verb whose statuses stand in the table.
class ReadingVerb : public Verb {
public:
    explicit ReadingVerb(const char* name) : name_(name) {}

    ExitCode run(Report& report) final {
        report.readerMayLeave();
        return static_cast<ExitCode>(look(report));
    }
    ExitCode failed(ExitCode /*code*/) const final { return static_cast<ExitCode>(ReadStatus::kTrouble); }
    const char* statusName(ExitCode code) const final;

protected:
    // Does it. Failures are thrown and end with kTrouble.
    virtual ReadStatus look(Report& report) = 0;

private:
    const char* name_;
};

#endif
