#include "Options.h"

#include <CLI/CLI.hpp>

namespace sim {

namespace {

// "N:ERRNO"
std::string takeRefusals(const std::vector<std::string>& texts, std::vector<Refusal>& refusals) {
    for (const std::string& text : texts) {
        const std::size_t colon = text.find(':');
        Refusal refusal;
        if (colon == std::string::npos || !parseRefusal(text.substr(0, colon), text.substr(colon + 1), refusal)) {
            return "--refuse " + text +
                   ": expected N:ERRNO, the number of a message from 1 on and an errno from 1 to " +
                   std::to_string(kGreatestErrno) + " or its name";
        }
        refusals.push_back(refusal);
    }
    return "";
}

}  // namespace

bool parseOptions(int argc, char** argv, Options& options, int& exitStatus) {
    CLI::App app{
        "The kernel's side of a policy delivery, without the kernel module: takes each write to policy_deliver as one "
        "message, checks it, answers as the kernel module would, and keeps a transcript. Runs until SIGTERM or "
        "SIGINT."};
    app.name("tarn-kernel-sim");
    app.footer(
        "In the mount: policy_deliver, paras/NAMESPACE/NAME, and for whoever tests .sim/control (takes the commands\n"
        "\"refuse N ERRNO\", \"refuse nothing\", \"para NAMESPACE/NAME\", \"reset\"), .sim/transcript, .sim/rules,\n"
        ".sim/messages, .sim/state.\n"
        "Exit status: 0 ended by a signal, 1 could not mount, open or read, 2 wrong command line.");
    std::vector<std::string> refusals;
    auto* entry = app.add_option_group("entry", "Where the messages come from");
    entry->add_option("--mount", options.mountPoint, "Mount the kernel's entries at this directory")->type_name("DIR");
    entry->add_option("--fifo", options.fifo, "Read messages from this FIFO; they can't be refused then")
        ->type_name("PATH");
    entry->require_option(1);
    app.add_option("--transcript", options.transcript, "Write the transcript to this file as well")->type_name("FILE");
    app.add_option("--refuse", refusals, "Answer the N-th message with this errno")->type_name("N:ERRNO");
    app.add_option("--para", options.parameters, "Serve the switch of this variable")->type_name("NAMESPACE/NAME");
    app.add_option("--ready-fd", options.readyFd, "Write one byte to this descriptor once the entries are served")
        ->type_name("FD")
        ->check(CLI::NonNegativeNumber);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        exitStatus = app.exit(error) == 0 ? 0 : kExitUsage;
        return false;
    }
    const std::string mistake = takeRefusals(refusals, options.refusals);
    if (!mistake.empty()) {
        std::cerr << "tarn-kernel-sim: " << mistake << "\n";
        exitStatus = kExitUsage;
    }
    return mistake.empty();
}

}  // namespace sim
