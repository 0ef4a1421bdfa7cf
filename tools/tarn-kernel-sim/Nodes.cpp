#include "Nodes.h"

#include <unistd.h>

#include <array>
#include <cerrno>

#include "Control.h"

namespace sim {

namespace {

// The fixed nodes, by inode number; 1 is the root as file systems have it.
enum FixedInode : Inode { kRoot = 1, kDeliver, kParas, kSim, kControl, kTranscript, kRules, kMessages, kState };

constexpr mode_t kDirectory = S_IFDIR | 0755;
constexpr mode_t kWriteOnly = S_IFREG | 0200;  // as the kernel module's own entry
constexpr mode_t kReadOnly = S_IFREG | 0444;
constexpr mode_t kSwitch = S_IFREG | 0644;

struct FixedNode {
    Inode inode;
    Inode parent;
    const char* name;
    mode_t mode;
};

constexpr std::array<FixedNode, 9> kFixedNodes{{
    {kRoot, kRoot, "", kDirectory},
    {kDeliver, kRoot, "policy_deliver", kWriteOnly},
    {kParas, kRoot, "paras", kDirectory},
    {kSim, kRoot, ".sim", kDirectory},
    {kControl, kSim, "control", kWriteOnly},
    {kTranscript, kSim, "transcript", kReadOnly},
    {kRules, kSim, "rules", kReadOnly},
    {kMessages, kSim, "messages", kReadOnly},
    {kState, kSim, "state", kReadOnly},
}};

// The nodes that come and stay: directories of namespaces, and the switches in them, each by its index.
constexpr Inode kFirstNamespace = 1ULL << 32U;
constexpr Inode kFirstSwitch = 1ULL << 33U;

bool isNamespace(const Parameters& parameters, Inode inode) {
    return inode >= kFirstNamespace && inode - kFirstNamespace < parameters.namespaces().size();
}

bool isSwitch(const Parameters& parameters, Inode inode) {
    return inode >= kFirstSwitch && inode - kFirstSwitch < parameters.all().size();
}

Inode numbered(Inode first, std::size_t index) {
    return index == Parameters::kNone ? 0 : first + index;
}

}  // namespace

Inode Nodes::lookup(Inode directory, const std::string& name) const {
    const Parameters& parameters = simulator_.parameters;
    if (directory == kParas) {
        return numbered(kFirstNamespace, parameters.findNamespace(name));
    }
    if (isNamespace(parameters, directory)) {
        return numbered(kFirstSwitch, parameters.find(directory - kFirstNamespace, name));
    }
    for (const FixedNode& node : kFixedNodes) {
        if (node.parent == directory && node.inode != kRoot && name == node.name) {
            return node.inode;
        }
    }
    return 0;
}

std::vector<Nodes::Entry> Nodes::list(Inode directory) const {
    std::vector<Entry> entries{{directory, "."}, {kRoot, ".."}};
    const Parameters& parameters = simulator_.parameters;
    for (const FixedNode& node : kFixedNodes) {
        if (node.parent == directory && node.inode != kRoot) {
            entries.push_back({node.inode, node.name});
        }
    }
    for (std::size_t index = 0; directory == kParas && index < parameters.namespaces().size(); ++index) {
        entries.push_back({kFirstNamespace + index, parameters.namespaces()[index]});
    }
    for (std::size_t index = 0; isNamespace(parameters, directory) && index < parameters.all().size(); ++index) {
        if (parameters.all()[index].nameSpace == directory - kFirstNamespace) {
            entries.push_back({kFirstSwitch + index, parameters.all()[index].name});
        }
    }
    return entries;
}

bool Nodes::attributes(Inode inode, struct stat& status) const {
    status = {};
    status.st_ino = inode;
    status.st_uid = getuid();
    status.st_gid = getgid();
    status.st_nlink = 1;
    for (const FixedNode& node : kFixedNodes) {
        if (node.inode == inode) {
            status.st_mode = node.mode;
        }
    }
    if (isSwitch(simulator_.parameters, inode)) {
        status.st_mode = kSwitch;
    } else if (isNamespace(simulator_.parameters, inode)) {
        status.st_mode = kDirectory;
    }
    return status.st_mode != 0;
}

std::string Nodes::content(Inode inode) const {
    switch (inode) {
        case kTranscript:
            return simulator_.transcript.text();
        case kRules:
            return simulator_.rules().text();
        case kMessages:
            return simulator_.rules().messages();
        case kState:
            return simulator_.stateText();
        default:
            break;
    }
    const Parameters& parameters = simulator_.parameters;
    return isSwitch(parameters, inode) ? std::string(1, parameters.all()[inode - kFirstSwitch].value) : "";
}

int Nodes::write(Inode inode, std::string_view bytes) {
    if (inode == kDeliver) {
        return simulator_.deliver(bytes);
    }
    if (inode == kControl) {
        return control(simulator_, bytes);
    }
    return isSwitch(simulator_.parameters, inode) ? simulator_.parameters.set(inode - kFirstSwitch, bytes) : EACCES;
}

}  // namespace sim
