// The fallback where mount namespaces are refused: a folder with the few files that a command needs, as root of the
// file system for that command.
#ifndef TARN_SANDBOX_CHROOT_TREE_H
#define TARN_SANDBOX_CHROOT_TREE_H

#include <set>
#include <string>

#include "Options.h"

namespace sandbox {

class ChrootTree {
public:
    // Whether this process may change its root.
    static bool allowed();

    // Builds the tree in a fresh folder below TMPDIR or /tmp: the private folders, a few of /etc and /dev, the command,
    // the files among its arguments, what --bring names, and what those need to run. Throws Failure.
    explicit ChrootTree(const Options& options);
    // Removes the tree.
    ~ChrootTree();
    ChrootTree(const ChrootTree&) = delete;
    ChrootTree& operator=(const ChrootTree&) = delete;

    // The path by which something inside is reached from outside.
    std::string outside(const std::string& inside) const { return root_ + inside; }

    // Called in the process that becomes the command. False with errno where it is refused.
    bool enter() const;

    // Copies the private /etc/tarn back to the folder that was given for it.
    void writeBack() const;

private:
    void layOut();
    void bring(const std::string& path);
    void bringFile(const std::string& path);
    void bringArguments(char** command);

    std::string root_;
    std::string workingDirectory_;
    std::string etcDirectory_;
    std::set<std::string> brought_;
};

}  // namespace sandbox

#endif
