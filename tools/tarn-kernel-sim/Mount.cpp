#include "Mount.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "FileSystem.h"
#include "Options.h"
#include "Stop.h"

namespace sim {

namespace {

struct SessionCloser {
    void operator()(fuse_session* session) const { fuse_session_destroy(session); }
};
using Session = std::unique_ptr<fuse_session, SessionCloser>;

// Takes the mount down on every way out.
class Mounted {
public:
    Mounted(fuse_session* session, const std::string& mountPoint)
        : session_(session), ok_(fuse_session_mount(session, mountPoint.c_str()) == 0) {}
    Mounted(const Mounted&) = delete;
    Mounted& operator=(const Mounted&) = delete;
    ~Mounted() {
        if (ok_) {
            fuse_session_unmount(session_);
        }
    }
    bool ok() const { return ok_; }

private:
    fuse_session* session_;
    bool ok_;
};

struct RequestBuffer {
    RequestBuffer() = default;
    RequestBuffer(const RequestBuffer&) = delete;
    RequestBuffer& operator=(const RequestBuffer&) = delete;
    ~RequestBuffer() { std::free(data.mem); }
    fuse_buf data{};  // the library allocates its memory and leaves it to us
};

// The kernel checks the modes of the entries, as it does in its own file system.
Session makeSession(FileSystem& fileSystem) {
    std::array<char, 16> name{"tarn-kernel-sim"};
    std::array<char, 3> flag{"-o"};
    std::array<char, 44> mountOptions{"default_permissions,fsname=tarn-kernel-sim"};
    std::array<char*, 3> words{name.data(), flag.data(), mountOptions.data()};
    fuse_args arguments = FUSE_ARGS_INIT(static_cast<int>(words.size()), words.data());
    const fuse_lowlevel_ops& operations = FileSystem::operations();
    Session session(fuse_session_new(&arguments, &operations, sizeof(operations), &fileSystem));
    fuse_opt_free_args(&arguments);
    return session;
}

// One request at a time: messages are judged in the order of their writes.
int answerRequests(fuse_session* session, const StopSignals& stop) {
    RequestBuffer buffer;
    while (fuse_session_exited(session) == 0 && stop.waitFor(fuse_session_fd(session))) {
        const int received = fuse_session_receive_buf(session, &buffer.data);
        if (received == -EINTR || received == -EAGAIN) {
            continue;
        }
        if (received <= 0) {
            return received == 0 ? 0 : kExitFailure;  // 0: somebody else took the mount down
        }
        fuse_session_process_buf(session, &buffer.data);
    }
    return 0;
}

}  // namespace

int serveMount(const std::string& mountPoint, Simulator& simulator, int readyFd) {
    const StopSignals stop;
    Nodes nodes(simulator);
    FileSystem fileSystem(nodes, readyFd);
    const Session session = makeSession(fileSystem);
    if (!session) {
        static_cast<void>(std::fprintf(stderr, "tarn-kernel-sim: can't set up FUSE\n"));
        return kExitFailure;
    }
    const Mounted mounted(session.get(), mountPoint);
    if (!mounted.ok()) {
        static_cast<void>(std::fprintf(stderr,
                                       "tarn-kernel-sim: can't mount at %s: this needs /dev/fuse, the right to mount, "
                                       "and a directory there\n",
                                       mountPoint.c_str()));
        return kExitFailure;
    }
    return answerRequests(session.get(), stop);
}

}  // namespace sim
