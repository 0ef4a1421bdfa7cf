// Reads the table of situations and answers in docs/kernel-answers.md, and builds the messages that its rows name.
#ifndef TARN_TESTS_ANSWER_TABLE_H
#define TARN_TESTS_ANSWER_TABLE_H

#include <string>
#include <vector>

namespace answertable {

struct Row {
    std::string situation;
    std::vector<std::string> before;  // messages delivered before, as bytes
    std::string message;              // the one that gets the answer
    std::string finding;              // the reader's name for it; empty where the message is taken
    int answer = 0;
};

// Throws std::runtime_error where the page can't be read or a row is not understood.
std::vector<Row> read();

// One changed message: the name of a golden message and what is done to it, as the page describes it.
std::string buildMessage(const std::vector<std::string>& nameAndEdits);

}  // namespace answertable

#endif
