// What a run says: as text (results on standard output, everything else on standard error) or as one versioned JSON
// object on standard output, from the same data. The object is valid UTF-8 whatever the texts hold (U+FFFD takes the place
// of other bytes); in texts, control characters but line feeds are written as escapes, so that no name of a file speaks to
// a terminal.
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

    // For results that don't fit into memory. write() takes text for standard output as it stands and says whether
    // somebody still reads it. openArray() begins the JSON object with its last member, an array; each element() is one
    // value of it, as JSON text in UTF-8; finish() closes it and adds the other members. After withoutObject() nothing but what
    // write() was given goes out.
    bool write(const std::string& text);
    void openArray(const std::string& name);
    bool element(const std::string& value);
    void withoutObject();

    // From now on a reader of standard output that goes away is no failure: nothing is done but to tell him.
    void readerMayLeave() { readerMayLeave_ = true; }

    // Prints the JSON object. False, with a word on standard error, where the output could not be written.
    bool finish(ExitCode code, const char* codeName);

private:
    void flush();
    void writeObject();

    Output& output_;
    bool json_;
    Json::Value object_;
    std::string pending_;  // written, and not yet handed to the output
    bool readerMayLeave_ = false;
    bool hasObject_ = true;
    enum class Array { kNone, kEmpty, kFilled } array_ = Array::kNone;
};

#endif
