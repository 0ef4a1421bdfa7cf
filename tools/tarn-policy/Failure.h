// What ends a verb before its time: what was tried, on what, why it failed, and what to do next.
#ifndef TARN_POLICY_FAILURE_H
#define TARN_POLICY_FAILURE_H

#include <exception>
#include <string>
#include <utility>

#include "ExitCodes.h"

class Failure : public std::exception {
public:
    Failure(ExitCode code, std::string tried, std::string reason, std::string advice)
        : code_(code), tried_(std::move(tried)), reason_(std::move(reason)), advice_(std::move(advice)) {
        text_ = "cannot " + tried_ + ": " + reason_ + (advice_.empty() ? "" : "\n  next: " + advice_);
    }

    // The same with one more piece of advice.
    Failure withAdvice(const std::string& more) const {
        return Failure(code_, tried_, reason_, advice_ + (advice_.empty() ? "" : "\n        ") + more);
    }

    ExitCode code() const { return code_; }
    const std::string& tried() const { return tried_; }  // with the object: "open /etc/tarn/x"
    const std::string& reason() const { return reason_; }
    const std::string& advice() const { return advice_; }
    const char* what() const noexcept override { return text_.c_str(); }

private:
    ExitCode code_;
    std::string tried_;
    std::string reason_;
    std::string advice_;
    std::string text_;
};

#endif
