// tarn-kernel-sim: the kernel's side of a policy delivery, for machines without the kernel module.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "Fifo.h"
#include "Mount.h"
#include "Options.h"

namespace {

int prepare(const sim::Options& options, sim::Simulator& simulator) {
    if (!options.transcript.empty()) {
        if (const int error = simulator.transcript.writeTo(options.transcript); error != 0) {
            static_cast<void>(std::fprintf(stderr, "tarn-kernel-sim: can't write the transcript %s: %s\n",
                                           options.transcript.c_str(), std::strerror(error)));
            return sim::kExitFailure;
        }
    }
    for (const sim::Refusal& refusal : options.refusals) {
        simulator.refuse(refusal.count, refusal.error);
    }
    for (const std::string& path : options.parameters) {
        if (!simulator.parameters.addPath(path)) {
            static_cast<void>(
                std::fprintf(stderr, "tarn-kernel-sim: --para %s: expected NAMESPACE/NAME, two names without \"/\"\n",
                             path.c_str()));
            return sim::kExitUsage;
        }
    }
    return 0;
}

// FUSE would mount on a file just as well, and nobody could open an entry below it.
int requireDirectory(const std::string& mountPoint) {
    struct stat status {};
    const int error = stat(mountPoint.c_str(), &status) != 0 ? errno : S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
    if (error != 0) {
        static_cast<void>(std::fprintf(stderr, "tarn-kernel-sim: can't mount at %s: %s; name a directory\n",
                                       mountPoint.c_str(), std::strerror(error)));
        return sim::kExitFailure;
    }
    return 0;
}

int run(int argc, char** argv) {
    sim::Options options;
    int status = 0;
    if (!sim::parseOptions(argc, argv, options, status)) {
        return status;
    }
    const bool mounts = options.fifo.empty();
    sim::Simulator simulator(mounts);
    status = prepare(options, simulator);
    if (status == 0 && mounts) {
        status = requireDirectory(options.mountPoint);
    }
    if (status != 0) {
        return status;
    }
    return mounts ? sim::serveMount(options.mountPoint, simulator, options.readyFd)
                  : sim::serveFifo(options.fifo, simulator, options.readyFd);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc&) {
        static_cast<void>(std::fputs("tarn-kernel-sim: this machine is out of memory\n", stderr));
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "tarn-kernel-sim: unexpected error: %s\n", error.what()));
    }
    return sim::kExitFailure;
}
