#include <json/reader.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "libtarnpolicydoc/Check.h"
#include "libtarnpolicydoc/Report.h"

namespace policydoc {

std::optional<Json::Value> readClasses(const std::string& path, Diagnostics& diagnostics) {
    const Reporter report(&diagnostics, path);
    std::ifstream stream(path);
    if (!stream) {
        report.mistake(Path(), 0,
                       {"class-definition", "the class definitions can't be read", "a file with permission classes",
                        "name a file that can be read"});
        return std::nullopt;
    }
    // The old reader and not its successor: the library takes what this one takes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    Json::Value classes;
    std::string why;
    try {
        if (!reader.parse(stream, classes, false)) {
            why = reader.getFormattedErrorMessages();
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

std::map<std::string, std::uint32_t> readPinnedNumbers(const std::string& path) {
    std::map<std::string, std::uint32_t> numbers;
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
