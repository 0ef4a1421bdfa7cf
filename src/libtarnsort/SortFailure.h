// What ends a sort: no room or no right in the temporary folder, or a record that is too large for it.
#ifndef TARN_SORT_FAILURE_H
#define TARN_SORT_FAILURE_H

#include <exception>
#include <string>
#include <utility>

namespace tarnsort {

class SortFailure : public std::exception {
public:
    SortFailure(std::string tried, std::string reason, std::string advice)
        : tried_(std::move(tried)), reason_(std::move(reason)), advice_(std::move(advice)) {
        text_ = tried_ + ": " + reason_;
    }

    const std::string& tried() const { return tried_; }
    const std::string& reason() const { return reason_; }
    const std::string& advice() const { return advice_; }  // what to do next
    const char* what() const noexcept override { return text_.c_str(); }

private:
    std::string tried_;
    std::string reason_;
    std::string advice_;
    std::string text_;
};

}  // namespace tarnsort

#endif
