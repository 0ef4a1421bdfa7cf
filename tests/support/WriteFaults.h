// Makes the write to chosen paths fail with a chosen errno; all other writes go on. Needs tarn_test_interpose.
#ifndef TARN_TESTS_WRITE_FAULTS_H
#define TARN_TESTS_WRITE_FAULTS_H

#include <unistd.h>
#include <cerrno>
#include <climits>
#include <map>
#include <string>
#include <utility>

#include "support/Interpose.h"

// The path that a descriptor was opened under.
inline std::string pathOfDescriptor(int fd) {
    char path[PATH_MAX];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path);
    return length < 0 ? std::string() : std::string(path, static_cast<std::size_t>(length));
}

class WriteFaults {
public:
    explicit WriteFaults(std::map<std::string, int> faults)
        : faults_(std::move(faults)),
          write_(interpose::write.replace([this](int fd, const void* data, std::size_t count) -> ssize_t {
              const auto fault = faults_.find(pathOfDescriptor(fd));
              if (fault == faults_.end()) {
                  return interpose::write.real(fd, data, count);
              }
              errno = fault->second;
              return -1;
          })) {}

private:
    std::map<std::string, int> faults_;
    decltype(interpose::write)::Guard write_;
};

#endif
