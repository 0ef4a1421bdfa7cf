// What a run says: as text (results on standard output, everything else on standard error) or as one versioned JSON
// object on standard output, from the same data.
#ifndef TARN_POLICY_REPORT_H
#define TARN_POLICY_REPORT_H

#include <json/value.h>

#include <string>

#include "ExitCodes.h"
#include "Failure.h"
#include "Output.h"

class Report {
public:
    // Raised with every change of the object that could break a reader.
    static constexpr int kFormat = 1;

    Report(Output& output, std::string verb, bool json);

    bool json() const { return json_; }

    // A result line: standard output in text mode, nothing in JSON mode (use fact).
    void line(const std::string& text);
    // A member of the JSON object.
    Json::Value& fact(const std::string& name) { return object_[name]; }

    // Standard error, and "warnings" of the object.
    void warning(const std::string& text);
    // Standard error, and "error" of the object.
    void failure(const Failure& failure);
    // Standard error in text mode only.
    void words(const std::string& text) const;

    // Prints the JSON object. Gives the code to exit with: kFailed where a run that went well could not say so.
    ExitCode finish(ExitCode code);

private:
    Output& output_;
    bool json_;
    Json::Value object_;
};

#endif
