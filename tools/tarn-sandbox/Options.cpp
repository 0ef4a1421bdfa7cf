#include "Options.h"

#include <getopt.h>

#include <charconv>
#include <filesystem>

#include "Failure.h"
#include "Layout.h"

namespace sandbox {

namespace {

enum OptionCode { kKernel = 256, kEtc, kTranscriptFile, kKeep, kRefuse, kPara, kBring, kHelp };

// getopt rather than a library for options: parsing ends at the first word that is none of ours ("+"), and the words of
// the command pass untouched, a "--" among them included.
const option kLongOptions[] = {
    {"kernel", required_argument, nullptr, kKernel},
    {"etc", required_argument, nullptr, kEtc},
    {"keep", required_argument, nullptr, kKeep},
    {"transcript", required_argument, nullptr, kTranscriptFile},
    {"para", required_argument, nullptr, kPara},
    {"refuse", required_argument, nullptr, kRefuse},
    {"bring", required_argument, nullptr, kBring},
    {"help", no_argument, nullptr, kHelp},
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

bool isPositive(const char* first, const char* last) {
    unsigned int value = 0;
    const auto [end, error] = std::from_chars(first, last, value);
    return error == std::errc() && end == last && value > 0;
}

// The simulator knows the names of the errnos and checks that part itself.
std::string refusal(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos || !isPositive(text.data(), text.data() + colon) || colon + 1 == text.size()) {
        throw Failure("--refuse " + text + ": use N:ERRNO, for instance 3:22 or 3:EINVAL for the third message");
    }
    return text;
}

std::string para(const std::string& text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos || slash == 0 || slash + 1 == text.size() ||
        text.find('/', slash + 1) != std::string::npos) {
        throw Failure("--para " + text + ": use NAMESPACE/VARIABLE");
    }
    return text;
}

// Without a slash at the end, so that paths can be compared.
std::string absolute(const std::string& path) {
    const std::filesystem::path normal = std::filesystem::absolute(path).lexically_normal();
    return normal.has_filename() ? normal.string() : normal.parent_path().string();
}

void take(Options& options, int code, const char* value) {
    switch (code) {
        case kKernel:
            options.kernel = kernelEntry(value);
            break;
        case kEtc:
            options.etcDirectory = absolute(value);
            break;
        case kTranscriptFile:
            options.transcript = absolute(value);
            break;
        case kKeep:
            options.keepDirectory = absolute(value);
            break;
        case kRefuse:
            options.refusals.push_back(refusal(value));
            break;
        case kPara:
            options.paras.push_back(para(value));
            break;
        case kBring:
            options.brought.push_back(absolute(value));
            break;
        default:
            options.helpOnly = true;
            break;
    }
}

void requireSense(const Options& options) {
    const bool simulator = options.kernel != KernelEntry::kNone;
    if (!simulator && !(options.refusals.empty() && options.paras.empty() && options.transcript.empty())) {
        throw Failure("--refuse, --para and --transcript need the simulator, which --kernel=none leaves out");
    }
    if (options.kernel == KernelEntry::kFifo && !options.refusals.empty()) {
        throw Failure("--refuse can't work with --kernel=fifo: the writer of a FIFO gets no answer");
    }
    if (isPrivate(options.keepDirectory)) {
        throw Failure("--keep " + options.keepDirectory + " lies in a private folder, which is gone at the end");
    }
}

}  // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    opterr = 0;
    for (int code = 0; (code = getopt_long(argc, argv, "+:", kLongOptions, nullptr)) != -1;) {
        if (code == ':') {
            throw Failure(std::string(argv[optind - 1]) + " needs a value; see tarn-sandbox --help");
        }
        if (code == '?') {
            throw Failure("unknown option " + std::string(argv[optind - 1]) + "; see tarn-sandbox --help");
        }
        take(options, code, optarg);
        if (options.helpOnly) {
            return options;
        }
    }
    if (optind >= argc) {
        throw Failure("no command given; see tarn-sandbox --help");
    }
    requireSense(options);
    options.command = argv + optind;
    return options;
}

const char* usage() {
    return "usage: tarn-sandbox [OPTION...] [--] COMMAND [ARGUMENT...]\n"
           "\n"
           "Runs COMMAND with its own empty /etc/tarn, /var/log, /run/lock and /sys/kernel/security, a simulated\n"
           "kernel entry in the last, and leaves the machine as it was.\n"
           "\n"
           "  --kernel=auto|fuse|fifo|none  the kernel entry: a FUSE file system (fuse), a FIFO that takes\n"
           "                                everything (fifo), none, or the best that works here (auto)\n"
           "  --etc DIR           DIR stands as /etc/tarn, and what is written there stays\n"
           "  --transcript FILE   where the simulator writes what it received; by default\n"
           "                      /var/log/tarn-kernel-sim.log inside the sandbox\n"
           "  --refuse N:ERRNO    answer the Nth message with ERRNO (repeatable; FUSE only)\n"
           "  --para NS/VAR       offer the entry of a dynamic variable (repeatable)\n"
           "  --keep DIR          at the end copy /etc/tarn and /var/log to DIR/etc-tarn and DIR/var-log\n"
           "  --bring PATH        where only chroot works: a further file or folder that COMMAND needs\n"
           "                      (repeatable; COMMAND and the files among its arguments are brought anyway)\n"
           "  --help              this text\n"
           "\n"
           "Exit status: that of COMMAND, 128 plus the number of the signal that ended it, 126 where COMMAND\n"
           "can't be run, 127 where it isn't found, 125 where the sandbox itself fails.\n";
}

}  // namespace sandbox
