#include "support/StdoutCapture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <stdexcept>

namespace {

void flushAll() {
    std::cout.flush();
    std::fflush(nullptr);
}

}  // namespace

StdoutCapture::StdoutCapture(int fd) : target_(fd), saved_(dup(fd)), file_(memfd_create("capture", MFD_CLOEXEC)) {
    if (saved_ < 0 || file_ < 0) {
        throw std::runtime_error("cannot capture a descriptor");
    }
    flushAll();
    dup2(file_, target_);
}

StdoutCapture::~StdoutCapture() {
    finish();
}

std::string StdoutCapture::finish() {
    if (saved_ < 0) {
        return {};
    }
    flushAll();
    dup2(saved_, target_);
    close(saved_);
    saved_ = -1;
    std::string text(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
    const ssize_t count = pread(file_, text.data(), text.size(), 0);
    text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    close(file_);
    return text;
}
