#include "Options.h"

#include <getopt.h>

#include "Failure.h"

namespace sandbox {

namespace {

enum OptionCode { kKernelOption = 256, kEtcOption, kHelpOption };

// getopt rather than a library for options: parsing ends at the first word that is none of ours ("+"), and the words of
// the command pass untouched, a "--" among them included.
const option kLongOptions[] = {
    {"kernel", required_argument, nullptr, kKernelOption},
    {"etc", required_argument, nullptr, kEtcOption},
    {"help", no_argument, nullptr, kHelpOption},
    {nullptr, 0, nullptr, 0},
};

KernelEntry kernelEntry(const std::string& name) {
    if (name == "auto") {
        return KernelEntry::kAuto;
    }
    if (name == "fuse") {
        return KernelEntry::kFuse;
    }
    if (name == "fifo") {
        return KernelEntry::kFifo;
    }
    if (name == "none") {
        return KernelEntry::kNone;
    }
    throw Failure("--kernel=" + name + " is unknown: use auto, fuse, fifo or none");
}

}  // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    opterr = 0;
    for (int code = 0; (code = getopt_long(argc, argv, "+:", kLongOptions, nullptr)) != -1;) {
        switch (code) {
            case kKernelOption:
                options.kernel = kernelEntry(optarg);
                break;
            case kEtcOption:
                options.etcDirectory = optarg;
                break;
            case kHelpOption:
                options.helpOnly = true;
                return options;
            case ':':
                throw Failure(std::string(argv[optind - 1]) + " needs a value; see tarn-sandbox --help");
            default:
                throw Failure("unknown option " + std::string(argv[optind - 1]) + "; see tarn-sandbox --help");
        }
    }
    if (optind >= argc) {
        throw Failure("no command given; see tarn-sandbox --help");
    }
    options.command = argv + optind;
    return options;
}

const char* usage() {
    return "usage: tarn-sandbox [--kernel=auto|fuse|fifo|none] [--etc DIR] [--] COMMAND [ARGUMENT...]\n";
}

}  // namespace sandbox
