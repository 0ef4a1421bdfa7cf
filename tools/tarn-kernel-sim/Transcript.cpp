#include "Transcript.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Common/KernelAnswers.h"

namespace sim {

std::string errnoText(int number) {
    if (const KernelAnswer* answer = findKernelAnswer(number)) {
        return std::string(answer->name) + " (" + std::to_string(number) + ")";
    }
    return "errno " + std::to_string(number);
}

int Transcript::writeTo(const std::string& path) {
    constexpr mode_t kMode = 0644;
    file_.reset(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, kMode));
    return file_.valid() ? 0 : errno;
}

void Transcript::add(std::string line) {
    line += '\n';
    text_ += line;
    if (!file_.valid()) {
        return;
    }
    if (write(file_.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        static_cast<void>(
            std::fprintf(stderr, "tarn-kernel-sim: can't write the transcript: %s\n", std::strerror(errno)));
        file_.reset();  // said once; the lines stay readable in the mount
    }
}

}  // namespace sim
