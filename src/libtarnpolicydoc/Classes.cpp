#include <fcntl.h>
#include <json/reader.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "Common/Handles.h"
#include "libtarnpolicydoc/Check.h"
#include "libtarnpolicydoc/Report.h"

namespace policydoc {

namespace {

// Why a file can't be read; empty where it can.
std::string whyUnreadable(const std::string& path) {
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!fd.valid() || fstat(fd.get(), &status) != 0) {
        return std::strerror(errno);
    }
    return S_ISREG(status.st_mode) ? "" : S_ISDIR(status.st_mode) ? "it is a directory" : "it is no regular file";
}

// The parser's report has several lines for each error; a finding is one.
std::string inOneLine(const std::string& text) {
    std::istringstream words(text);
    std::string out;
    for (std::string word; words >> word;) {
        out += (out.empty() || word == "*" ? "" : " ") + (word == "*" ? std::string() : word);
    }
    return out;
}

}  // namespace

std::optional<Json::Value> readClasses(const std::string& path, Diagnostics& diagnostics) {
    const Reporter report(&diagnostics, path);
    const std::string unreadable = whyUnreadable(path);
    if (!unreadable.empty()) {
        report.mistake(Path(), 0,
                       {"class-definition", "the class definitions can't be read: " + unreadable,
                        "a file with permission classes", "name a file that can be read"});
        return std::nullopt;
    }
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    // The old reader and not its successor: the library takes what this one takes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    Json::Value classes;
    std::string why;
    try {
        // Not from the stream: the reader's words on errors would look into a text that is gone by then.
        if (!reader.parse(text.str(), classes, false)) {
            why = inOneLine(reader.getFormattedErrorMessages());
        } else if (!classes.isObject()) {
            why = "the document is no object";
        }
    } catch (const std::exception& error) {
        why = error.what();
    }
    if (!why.empty()) {
        report.mistake(Path(), 0,
                       {"class-definition", "the class definitions are unsound: " + why,
                        "one JSON object whose members are the classes", "correct the file"});
        return std::nullopt;
    }
    return classes;
}

std::map<std::string, std::uint32_t> readPinnedNumbers(const std::string& path, Diagnostics& diagnostics) {
    std::map<std::string, std::uint32_t> numbers;
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
        return numbers;
    }
    const std::string unreadable = whyUnreadable(path);
    if (!unreadable.empty()) {
        const Reporter report(&diagnostics, path);
        report.warning(Path(), 0,
                       {"pinned-numbers",
                        "can't be read: " + unreadable +
                            "; two namespaces with one number are looked for as if it "
                            "pinned none",
                        "the numbers that an earlier compilation gave the namespaces", "run this as root"});
        return numbers;
    }
    std::ifstream stream(path);
    std::string line;
    while (std::getline(stream, line)) {
        // Pieces between colons, empty ones dropped; exactly two make a line.
        std::istringstream pieces(line);
        std::string piece;
        std::vector<std::string> kept;
        while (std::getline(pieces, piece, ':')) {
            if (!piece.empty()) {
                kept.push_back(piece);
            }
        }
        if (kept.size() != 2) {
            continue;
        }
        try {
            numbers[kept[1]] = static_cast<std::uint32_t>(std::stoul(kept[0]));
        } catch (const std::exception&) {
            continue;  // the library skips such a line, too
        }
    }
    return numbers;
}

}  // namespace policydoc
