#include "reading/SetNames.h"

#include <sys/stat.h>

#include <vector>

#include "Failure.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnpolicydoc/Text.h"

void NameOptions::declare(CLI::App& app) {
    app.add_option("--etc", etc, "Folder with the side files that the folder above PATH lacks");
    app.add_option("--labels", labels, "Label table with the names of identifiers");
}

void readNames(tarnnames::NameBook& book, const std::string& path, const NameOptions& options, Report& report) {
    std::vector<std::string> problems;
    book.readSideFiles(path, options.etc, problems);
    for (const std::string& problem : problems) {
        report.warning(problem);
    }
    std::string problem;
    if (!options.labels.empty() && !book.readLabels(options.labels, problem)) {
        throw Failure(ExitCode::kFailed, "read the label table", policydoc::printable(problem),
                      "name a table as docs/label-table.md describes it");
    }
}

std::string folderBefore(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        const std::string folder = tarnmessage::SetWalk::trimmed(path);
        return folder == "/" ? folder : folder + "/";
    }
    return path.substr(0, path.rfind('/') + 1);
}

void warnOfLinks(const tarnmessage::WalkOutcome& outcome, const std::string& path, Report& report) {
    if (outcome.links != 0) {
        report.warning(tarnmessage::escaped(path) + ": " + outcome.linkWarning());
    }
}

std::string counted(std::uint64_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}
