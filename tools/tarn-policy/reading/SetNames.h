// What the verbs that look at sets have in common: the options for names, and the names of one path.
#ifndef TARN_POLICY_SET_NAMES_H
#define TARN_POLICY_SET_NAMES_H

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

#include "Report.h"
#include "libtarnmessage/SetWalk.h"
#include "libtarnnames/NameBook.h"

struct NameOptions {
    std::string etc;
    std::string labels;

    // Declares --etc and --labels.
    void declare(CLI::App& app);
};

// The names for one path; what can't be read of its side files is a warning. Throws Failure where the label table that was
// asked for can't be read.
void readNames(tarnnames::NameBook& book, const std::string& path, const NameOptions& options, Report& report);

// What stands before the names of a walk over this path: the folder and "/". For a file, the folder that the user wrote.
std::string folderBefore(const std::string& path);

// Says on standard error, once, that a walk has passed over symbolic links.
void warnOfLinks(const tarnmessage::WalkOutcome& outcome, const std::string& path, Report& report);

// "1 record", "2 records"
std::string counted(std::uint64_t count, const char* one, const char* many);

#endif
