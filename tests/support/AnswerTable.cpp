#include "support/AnswerTable.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/Golden.h"

namespace answertable {

namespace {

constexpr std::size_t kColumns = 5;
constexpr char kHead[] = "| Situation | After | Message | Finding | Answer |";

[[noreturn]] void refuse(const std::string& what) {
    throw std::runtime_error("kernel-answers.md: " + what);
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::vector<std::string> cellsOf(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream stream(line.substr(1));
    for (std::string cell; std::getline(stream, cell, '|');) {
        cells.push_back(trimmed(cell));
    }
    if (cells.size() != kColumns) {
        refuse("a row of " + std::to_string(cells.size()) + " columns: " + line);
    }
    return cells;
}

// What stands between backquotes.
std::vector<std::string> quotedIn(const std::string& cell) {
    std::vector<std::string> words;
    std::istringstream stream(cell);
    std::string outside;
    for (std::string word; std::getline(stream, outside, '`') && std::getline(stream, word, '`');) {
        words.push_back(word);
    }
    return words;
}

void put(std::string& message, std::size_t offset, const std::string& bytes) {
    if (offset + bytes.size() > message.size()) {
        refuse("an offset beyond the message: " + std::to_string(offset));
    }
    message.replace(offset, bytes.size(), bytes);
}

std::string bytesOf(std::uint32_t word) {
    std::string bytes(sizeof(word), '\0');
    std::memcpy(bytes.data(), &word, sizeof(word));
    return bytes;
}

std::string rest(std::istringstream& stream) {
    std::string text;
    std::getline(stream, text);
    return text;
}

// One change, in the words that the page explains.
void edit(std::string& message, const std::string& text) {
    std::istringstream stream(text);
    std::string verb;
    std::size_t number = 0;
    stream >> verb >> number;
    if (verb == "word" || verb == "bytes") {
        std::string equals;
        std::uint32_t word = 0;
        stream >> equals;
        if (verb == "word") {
            stream >> word;
        }
        put(message, number, verb == "word" ? bytesOf(word) : golden::bytesOf(rest(stream)));
    } else if (verb == "insert") {
        message.insert(number, golden::bytesOf(rest(stream)));
    } else if (verb == "remove") {
        std::size_t count = 0;
        stream >> count;
        message.erase(number, count);
    } else if (verb == "cut") {
        message.resize(message.size() - number);
    } else if (verb == "fill") {
        message.resize(number);
    } else {
        refuse("no such change: " + text);
    }
    if (stream.fail()) {
        refuse("a change that is not understood: " + text);
    }
}

}  // namespace

std::string buildMessage(const std::vector<std::string>& nameAndEdits) {
    if (nameAndEdits.empty()) {
        refuse("a row without a message");
    }
    std::string message = golden::message(nameAndEdits.front());
    const std::size_t size = message.size();
    bool keepsLength = false;
    for (std::size_t index = 1; index < nameAndEdits.size(); ++index) {
        if (nameAndEdits[index] == "same length") {
            keepsLength = true;
        } else {
            edit(message, nameAndEdits[index]);
        }
    }
    if (!keepsLength && message.size() != size) {
        put(message, 4, bytesOf(static_cast<std::uint32_t>(message.size())));
    }
    return message;
}

std::vector<Row> read() {
    std::ifstream page(TARN_DOCS_DIR "/kernel-answers.md");
    std::vector<Row> rows;
    bool inTable = false;
    for (std::string line; std::getline(page, line);) {
        if (line == kHead) {
            inTable = true;
            std::getline(page, line);  // the rule below the head
        } else if (inTable && (line.empty() || line[0] != '|')) {
            break;
        } else if (inTable) {
            const std::vector<std::string> cells = cellsOf(line);
            Row row{cells[0], {}, buildMessage(quotedIn(cells[2])), cells[3], std::stoi(cells[4])};
            for (const std::string& name : quotedIn(cells[1])) {
                row.before.push_back(golden::message(name));
            }
            rows.push_back(row);
        }
    }
    if (rows.empty()) {
        refuse("no table");
    }
    return rows;
}

}  // namespace answertable
