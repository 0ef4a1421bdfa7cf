// The kernel's entries as a test sees them: every open, write, fsync and close on "/sys/kernel/security/tarn/" is
// recorded, and a chosen write is refused with a chosen errno. Needs no kernel: nothing reaches the file system but the
// creation of the file that a missing entry leaves.
#ifndef TARN_TESTS_KERNEL_ENTRY_H
#define TARN_TESTS_KERNEL_ENTRY_H

#include <sys/types.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "support/Interpose.h"

class KernelEntry {
public:
    struct Call {
        std::string name;  // open, write, fsync, close
        std::string path;
        int flags = 0;     // of an open
        mode_t mode = 0;   // of an open
        std::string data;  // of a write
    };

    KernelEntry();
    KernelEntry(const KernelEntry&) = delete;
    KernelEntry& operator=(const KernelEntry&) = delete;

    // The write with this number (1 for the first one, of any entry) fails with this errno.
    void refuse(std::size_t number, int error);
    // Called before each write is answered, with the path.
    void beforeWrite(std::function<void(const std::string&)> function);
    // Writes return this many bytes fewer than they were given.
    void shortBy(std::size_t bytes);

    std::vector<Call> calls() const;
    // What was written, in order, refused writes included.
    std::vector<std::string> messages() const;
    // "open write fsync close ...".
    std::string order() const;

private:
    int onOpen(const char* path, int flags, mode_t mode);
    ssize_t onWrite(int fd, const void* data, std::size_t count);
    // The path behind a descriptor that was opened here, or an empty text.
    std::string pathOf(int fd) const;

    mutable std::mutex mutex_;
    std::vector<Call> calls_;
    std::map<int, std::string> open_;
    std::map<std::size_t, int> refusals_;
    std::function<void(const std::string&)> beforeWrite_;
    std::size_t writes_ = 0;
    std::size_t shortBy_ = 0;
    decltype(interpose::open)::Guard openGuard_;
    decltype(interpose::write)::Guard writeGuard_;
    decltype(interpose::fsync)::Guard fsyncGuard_;
    decltype(interpose::close)::Guard closeGuard_;
};

#endif
