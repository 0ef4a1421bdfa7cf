// The tree that is served, without the file system around it: which inode number is what, its name, mode and content.
#ifndef TARN_KERNEL_SIM_NODES_H
#define TARN_KERNEL_SIM_NODES_H

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Simulator.h"

namespace sim {

using Inode = std::uint64_t;

class Nodes {
public:
    explicit Nodes(Simulator& simulator) : simulator_(simulator) {}

    struct Entry {
        Inode inode;
        std::string name;
    };

    // 0 where the directory has no such entry.
    Inode lookup(Inode directory, const std::string& name) const;
    std::vector<Entry> list(Inode directory) const;

    // False for a number that is no node.
    bool attributes(Inode inode, struct stat& status) const;
    // What a node shows to one who opens it now.
    std::string content(Inode inode) const;
    // One write. 0 or an errno.
    int write(Inode inode, std::string_view bytes);

private:
    Simulator& simulator_;
};

}  // namespace sim

#endif
