// The tree of Nodes as a FUSE file system, with the manners of the real securityfs: a write is one message, fsync
// answers EINVAL, and nothing can be created, renamed or removed.
#ifndef TARN_KERNEL_SIM_FILE_SYSTEM_H
#define TARN_KERNEL_SIM_FILE_SYSTEM_H

#include <fuse_lowlevel.h>

#include <map>
#include <string>

#include "Nodes.h"

namespace sim {

class FileSystem {
public:
    FileSystem(Nodes& nodes, int readyFd) : nodes_(nodes), readyFd_(readyFd) {}

    // The operations, for a session whose user data is a FileSystem.
    static const fuse_lowlevel_ops& operations();

    void lookup(fuse_req_t request, Inode parent, const char* name) const;
    void getAttributes(fuse_req_t request, Inode inode) const;
    void setAttributes(fuse_req_t request, Inode inode, int which) const;
    void open(fuse_req_t request, Inode inode, fuse_file_info& file);
    void read(fuse_req_t request, std::size_t size, off_t offset, const fuse_file_info& file) const;
    void write(fuse_req_t request, Inode inode, std::string_view bytes);
    void release(fuse_req_t request, const fuse_file_info& file);
    void readDirectory(fuse_req_t request, Inode inode, std::size_t size, off_t offset) const;
    // The kernel's first question has come: from here on every call to the mount gets its answer.
    void start();

private:
    Nodes& nodes_;
    int readyFd_;
    std::uint64_t nextHandle_ = 1;
    std::map<std::uint64_t, std::string> snapshots_;  // what an opened node shows, by handle
};

}  // namespace sim

#endif
