// Runs a command with private /etc/tarn, /var/log and /sys/kernel/security, and leaves the machine as it was.
#include <cstdio>
#include <exception>

#include "Sandbox.h"

int main(int argc, char** argv) {
    try {
        const sandbox::Options options = sandbox::parseOptions(argc, argv);
        if (options.helpOnly) {
            std::fputs(sandbox::usage(), stdout);
            return 0;
        }
        return sandbox::Sandbox(options).run();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tarn-sandbox: %s\n", failure.what());
        return sandbox::kExitOwnFailure;
    }
}
