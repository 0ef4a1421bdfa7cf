// What is wrong with one file, for people.
#ifndef TARN_NAMES_PROBLEM_LIST_H
#define TARN_NAMES_PROBLEM_LIST_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tarnnames {

// Keeps the first problems and counts the others: a file may hold millions of lines that are none.
class ProblemList {
public:
    static constexpr std::size_t kMostKept = 10;

    void add(std::string problem) {
        if (kept_.size() < kMostKept) {
            kept_.push_back(std::move(problem));
        } else {
            ++more_;
        }
    }

    // The last text tells how many are not there, if any.
    std::vector<std::string> texts() const {
        std::vector<std::string> texts = kept_;
        if (more_ != 0) {
            texts.push_back("and " + std::to_string(more_) + " more in this file");
        }
        return texts;
    }

private:
    std::vector<std::string> kept_;
    std::uint64_t more_ = 0;
};

}  // namespace tarnnames

#endif
