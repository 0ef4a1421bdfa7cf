// The steps of one run: private folders, kernel entry, command, and what is kept at the end.
#ifndef TARN_SANDBOX_SANDBOX_H
#define TARN_SANDBOX_SANDBOX_H

#include <memory>
#include <string>

#include "ChrootTree.h"
#include "Options.h"
#include "Simulator.h"

namespace sandbox {

class Sandbox {
public:
    // The options must outlive the sandbox.
    explicit Sandbox(const Options& options) : options_(options) {}

    // Gives the exit status. Throws Failure where the sandbox itself fails.
    int run();

private:
    void makePrivate();
    void startKernel();
    void startSimulator(bool fifo);
    void makeParaFiles() const;
    bool startFuse();
    void keep() const;
    void leave();

    // The path by which this process reaches what the command sees at `inside`.
    std::string reach(const std::string& inside) const { return tree_ ? tree_->outside(inside) : inside; }

    const Options& options_;
    std::unique_ptr<ChrootTree> tree_;  // null inside a mount namespace
    std::string simulatorProgram_;
    Simulator simulator_;
};

}  // namespace sandbox

#endif
