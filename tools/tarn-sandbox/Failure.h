// What goes wrong in the sandbox itself, in words for the user.
#ifndef TARN_SANDBOX_FAILURE_H
#define TARN_SANDBOX_FAILURE_H

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace sandbox {

class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Throws "what: reason" for the errno of the call that just failed.
[[noreturn]] inline void failWithErrno(const std::string& what) {
    const std::string reason = std::strerror(errno);
    throw Failure(what + ": " + reason);
}

}  // namespace sandbox

#endif
