// Reads one message file, without privilege and without following links.
#ifndef TARN_MESSAGE_FILE_H
#define TARN_MESSAGE_FILE_H

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tarnmessage {

// What the file system says about a file.
struct FileStatus {
    mode_t mode = 0;
    uid_t owner = 0;
    gid_t group = 0;
    std::uint64_t size = 0;
};

// One buffer of the largest message, filled again and again.
class MessageFile {
public:
    MessageFile();

    // Reads at most one byte more than a message may have: what is longer is seen to be so. 0, or the errno of what
    // failed; EINVAL where the path is no regular file, ELOOP where it is a symbolic link. After a failure there are no
    // bytes.
    int read(const std::string& path);

    std::string_view bytes() const { return {buffer_.get(), used_}; }
    const FileStatus& status() const { return status_; }

private:
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
    FileStatus status_;
};

}  // namespace tarnmessage

#endif
