#include "FileSystem.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "Stop.h"

namespace sim {

namespace {

FileSystem& self(fuse_req_t request) {
    return *static_cast<FileSystem*>(fuse_req_userdata(request));
}

void opInit(void* userData, fuse_conn_info* /*connection*/) {
    static_cast<FileSystem*>(userData)->start();
}

void opLookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
    self(request).lookup(request, parent, name);
}

void opGetAttributes(fuse_req_t request, fuse_ino_t inode, fuse_file_info* /*file*/) {
    self(request).getAttributes(request, inode);
}

void opSetAttributes(fuse_req_t request, fuse_ino_t inode, struct stat* /*values*/, int which,
                     fuse_file_info* /*file*/) {
    self(request).setAttributes(request, inode, which);
}

void opOpen(fuse_req_t request, fuse_ino_t inode, fuse_file_info* file) {
    self(request).open(request, inode, *file);
}

void opRead(fuse_req_t request, fuse_ino_t /*inode*/, size_t size, off_t offset, fuse_file_info* file) {
    self(request).read(request, size, offset, *file);
}

void opWrite(fuse_req_t request, fuse_ino_t inode, const char* bytes, size_t size, off_t /*offset*/,
             fuse_file_info* /*file*/) {
    self(request).write(request, inode, {bytes, size});
}

void opFlush(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* /*file*/) {
    fuse_reply_err(request, 0);
}

void opRelease(fuse_req_t request, fuse_ino_t /*inode*/, fuse_file_info* file) {
    self(request).release(request, *file);
}

void opFsync(fuse_req_t request, fuse_ino_t /*inode*/, int /*dataOnly*/, fuse_file_info* /*file*/) {
    fuse_reply_err(request, EINVAL);
}

void opReadDirectory(fuse_req_t request, fuse_ino_t inode, size_t size, off_t offset, fuse_file_info* /*file*/) {
    self(request).readDirectory(request, inode, size, offset);
}

void opCreate(fuse_req_t request, fuse_ino_t /*parent*/, const char* /*name*/, mode_t /*mode*/,
              fuse_file_info* /*file*/) {
    fuse_reply_err(request, EACCES);
}

void opMakeNode(fuse_req_t request, fuse_ino_t /*parent*/, const char* /*name*/, mode_t /*mode*/, dev_t /*device*/) {
    fuse_reply_err(request, EPERM);
}

void opMakeDirectory(fuse_req_t request, fuse_ino_t /*parent*/, const char* /*name*/, mode_t /*mode*/) {
    fuse_reply_err(request, EPERM);
}

void opRemove(fuse_req_t request, fuse_ino_t /*parent*/, const char* /*name*/) {
    fuse_reply_err(request, EPERM);
}

void opSymlink(fuse_req_t request, const char* /*target*/, fuse_ino_t /*parent*/, const char* /*name*/) {
    fuse_reply_err(request, EPERM);
}

void opRename(fuse_req_t request, fuse_ino_t /*parent*/, const char* /*name*/, fuse_ino_t /*newParent*/,
              const char* /*newName*/, unsigned int /*flags*/) {
    fuse_reply_err(request, EPERM);
}

void opLink(fuse_req_t request, fuse_ino_t /*inode*/, fuse_ino_t /*newParent*/, const char* /*newName*/) {
    fuse_reply_err(request, EPERM);
}

fuse_lowlevel_ops makeOperations() {
    fuse_lowlevel_ops operations{};
    operations.init = opInit;
    operations.lookup = opLookup;
    operations.getattr = opGetAttributes;
    operations.setattr = opSetAttributes;
    operations.open = opOpen;
    operations.read = opRead;
    operations.write = opWrite;
    operations.flush = opFlush;
    operations.release = opRelease;
    operations.fsync = opFsync;
    operations.readdir = opReadDirectory;
    operations.create = opCreate;
    operations.mknod = opMakeNode;
    operations.mkdir = opMakeDirectory;
    operations.unlink = opRemove;
    operations.rmdir = opRemove;
    operations.symlink = opSymlink;
    operations.rename = opRename;
    operations.link = opLink;
    return operations;
}

}  // namespace

const fuse_lowlevel_ops& FileSystem::operations() {
    static const fuse_lowlevel_ops kOperations = makeOperations();
    return kOperations;
}

void FileSystem::start() {
    announceReady(readyFd_);
    readyFd_ = -1;
}

// Timeouts stay 0: entries appear while the mount stands, and a write must not leave a size behind.
void FileSystem::lookup(fuse_req_t request, Inode parent, const char* name) const {
    fuse_entry_param entry{};
    entry.ino = nodes_.lookup(parent, name);
    if (entry.ino == 0 || !nodes_.attributes(entry.ino, entry.attr)) {
        fuse_reply_err(request, ENOENT);
        return;
    }
    fuse_reply_entry(request, &entry);
}

void FileSystem::getAttributes(fuse_req_t request, Inode inode) const {
    struct stat status {};
    if (!nodes_.attributes(inode, status)) {
        fuse_reply_err(request, ENOENT);
        return;
    }
    fuse_reply_attr(request, &status, 0);
}

// An open with O_TRUNC sets the size to 0, which an entry of the kernel takes without a word; times are nobody's
// concern.
void FileSystem::setAttributes(fuse_req_t request, Inode inode, int which) const {
    if ((which & (FUSE_SET_ATTR_MODE | FUSE_SET_ATTR_UID | FUSE_SET_ATTR_GID)) != 0) {
        fuse_reply_err(request, EPERM);
        return;
    }
    getAttributes(request, inode);
}

// What can be read is read past the page cache, because its size is not known beforehand. The delivery entry keeps the
// cached mode: there a write of 1 MiB arrives in one piece however its buffer lies in memory.
void FileSystem::open(fuse_req_t request, Inode inode, fuse_file_info& file) {
    const bool reads = (file.flags & O_ACCMODE) == O_RDONLY;
    if (reads) {
        file.fh = nextHandle_++;
        file.direct_io = 1;
        snapshots_[file.fh] = nodes_.content(inode);
    }
    if (fuse_reply_open(request, &file) != 0 && reads) {
        snapshots_.erase(file.fh);  // the opener was interrupted: no release will come
    }
}

void FileSystem::read(fuse_req_t request, std::size_t size, off_t offset, const fuse_file_info& file) const {
    const auto snapshot = snapshots_.find(file.fh);
    if (snapshot == snapshots_.end()) {
        fuse_reply_err(request, EINVAL);
        return;
    }
    const std::string& content = snapshot->second;
    const std::size_t first = std::min(static_cast<std::size_t>(offset), content.size());
    fuse_reply_buf(request, content.data() + first, std::min(size, content.size() - first));
}

void FileSystem::write(fuse_req_t request, Inode inode, std::string_view bytes) {
    const int answer = nodes_.write(inode, bytes);
    if (answer != 0) {
        fuse_reply_err(request, answer);
        return;
    }
    fuse_reply_write(request, bytes.size());
}

void FileSystem::release(fuse_req_t request, const fuse_file_info& file) {
    snapshots_.erase(file.fh);
    fuse_reply_err(request, 0);
}

void FileSystem::readDirectory(fuse_req_t request, Inode inode, std::size_t size, off_t offset) const {
    const std::vector<Nodes::Entry> entries = nodes_.list(inode);
    std::string buffer(size, '\0');
    std::size_t used = 0;
    for (auto index = static_cast<std::size_t>(offset); index < entries.size(); ++index) {
        struct stat status {};
        static_cast<void>(nodes_.attributes(entries[index].inode, status));
        const std::size_t need = fuse_add_direntry(request, buffer.data() + used, size - used,
                                                   entries[index].name.c_str(), &status, static_cast<off_t>(index + 1));
        if (need > size - used) {
            break;
        }
        used += need;
    }
    fuse_reply_buf(request, buffer.data(), used);
}

}  // namespace sim
