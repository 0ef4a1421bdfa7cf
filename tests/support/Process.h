// Runs a program to its end and catches what it says.
#ifndef TARN_TESTS_PROCESS_H
#define TARN_TESTS_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace testprocess {

struct Outcome {
    int status = -1;  // exit status, or 128 plus the number of the signal that ended it
    std::string out;
    std::string err;
};

// A program that was started and still runs. It is killed where nobody waits for its end.
class Running {
public:
    // `words` are the program, looked up in PATH, and its arguments. Each text of `environment` is NAME=VALUE to set a
    // variable or NAME to remove it. Throws std::runtime_error where no process can be made.
    explicit Running(const std::vector<std::string>& words, const std::vector<std::string>& environment = {});
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    pid_t pid() const { return pid_; }
    // Waits for the end.
    Outcome finish();

private:
    pid_t pid_ = -1;
    int out_ = -1;
    int err_ = -1;
};

// Runs it to its end.
Outcome run(const std::vector<std::string>& words, const std::vector<std::string>& environment = {});

}  // namespace testprocess

#endif
