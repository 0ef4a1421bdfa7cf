// tarn-kernel-sim: the kernel's side of a policy delivery, for machines without the kernel module.
#include <cstdio>
#include <cstring>

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

}  // namespace

int main(int argc, char** argv) {
    sim::Options options;
    int status = 0;
    if (!sim::parseOptions(argc, argv, options, status)) {
        return status;
    }
    const bool mounts = options.fifo.empty();
    sim::Simulator simulator(mounts);
    status = prepare(options, simulator);
    if (status != 0) {
        return status;
    }
    return mounts ? sim::serveMount(options.mountPoint, simulator, options.readyFd)
                  : sim::serveFifo(options.fifo, simulator, options.readyFd);
}
