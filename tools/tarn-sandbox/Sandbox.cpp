#include "Sandbox.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "Common/Handles.h"
#include "Failure.h"
#include "FileTree.h"
#include "Layout.h"
#include "Namespaces.h"
#include "Run.h"

namespace sandbox {

namespace {

void notice(const std::string& text) {
    std::fprintf(stderr, "tarn-sandbox: %s\n", text.c_str());
}

// Empty where the device can be opened, else the reason.
std::string whyNoFuse() {
    const UniqueFd device(open("/dev/fuse", O_RDWR | O_CLOEXEC));
    if (device.valid()) {
        return {};
    }
    return std::string("/dev/fuse: ") + std::strerror(errno);
}

}  // namespace

int Sandbox::run() {
    holdSignals();
    if (options_.kernel != KernelEntry::kNone) {
        simulatorProgram_ = findSimulator();
    }
    if (!options_.keepDirectory.empty()) {
        makeDirectories(options_.keepDirectory);
    }
    makePrivate();
    startKernel();
    const int status = runCommand(options_.command, [this] { return tree_ == nullptr || tree_->enter(); });
    leave();
    return status;
}

void Sandbox::makePrivate() {
    try {
        enterNamespaces(options_.etcDirectory, {options_.keepDirectory, options_.transcript});
        setenv(kEnvSandbox, "namespace", 1);
        return;
    } catch (const NamespaceRefused& refused) {
        if (!ChrootTree::allowed()) {
            throw Failure("no mount namespace here (" + std::string(refused.what()) +
                          "), and chroot is refused, too; run it as root, or allow user namespaces (sysctl "
                          "user.max_user_namespaces) or, in a container, unshare and mount");
        }
        notice("no mount namespace here (" + std::string(refused.what()) +
               "): the command runs by chroot in a folder of copies");
    }
    tree_ = std::make_unique<ChrootTree>(options_);
    setenv(kEnvSandbox, "chroot", 1);
}

// Beside a FIFO the entries of dynamic variables are plain files: what is written there stands there.
void Sandbox::makeParaFiles() const {
    for (const std::string& para : options_.paras) {
        const std::string path = reach(kParas) + "/" + para;
        makeDirectories(path.substr(0, path.rfind('/')));
        const UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        if (!file.valid()) {
            failWithErrno("cannot make " + path);
        }
    }
}

void Sandbox::startSimulator(bool fifo) {
    SimulatorPlan plan;
    plan.fifo = fifo;
    plan.entry = reach(fifo ? kDeliver : kSecurityTarn);
    plan.transcript = options_.transcript.empty() ? reach(kTranscript) : options_.transcript;
    plan.refusals = options_.refusals;
    if (fifo) {
        makeParaFiles();
    } else {
        plan.paras = options_.paras;
    }
    simulator_.start(simulatorProgram_, plan);
    setenv(kEnvKernel, fifo ? "fifo" : "fuse", 1);
    setenv(kEnvTranscript, options_.transcript.empty() ? kTranscript : options_.transcript.c_str(), 1);
}

// False where FUSE can't be had and the FIFO may take its place.
bool Sandbox::startFuse() {
    std::string reason = tree_ ? "mounting is refused" : whyNoFuse();
    try {
        if (reason.empty()) {
            startSimulator(false);
            return true;
        }
    } catch (const Failure& failure) {
        reason = failure.what();
    }
    if (options_.kernel == KernelEntry::kFuse || !options_.refusals.empty()) {
        throw Failure("no FUSE file system as kernel entry (" + reason + "); " +
                      (options_.kernel == KernelEntry::kFuse ? "use --kernel=auto" : "leave --refuse out") +
                      " to run with a FIFO instead");
    }
    notice("no FUSE here (" + reason + "): the kernel entry is a FIFO");
    return false;
}

void Sandbox::startKernel() {
    unsetenv(kEnvTranscript);
    if (options_.kernel == KernelEntry::kNone) {
        setenv(kEnvKernel, "none", 1);
        return;
    }
    if (options_.kernel == KernelEntry::kFifo || !startFuse()) {
        startSimulator(true);
    }
}

void Sandbox::keep() const {
    if (!options_.keepDirectory.empty()) {
        copyFolder(reach(kEtcTarn), options_.keepDirectory + "/etc-tarn");
        copyFolder(reach(kVarLog), options_.keepDirectory + "/var-log");
    }
}

// Nothing of the end may be skipped because an earlier step of it failed.
void Sandbox::leave() {
    std::string problem;
    const auto attempt = [&problem](auto step) {
        try {
            step();
        } catch (const std::exception& failure) {
            problem += (problem.empty() ? "" : "; ") + std::string(failure.what());
        }
    };
    attempt([this] { simulator_.stop(); });
    attempt([this] { keep(); });
    attempt([this] {
        if (tree_) {
            tree_->writeBack();
        }
    });
    if (!problem.empty()) {
        throw Failure(problem);
    }
}

}  // namespace sandbox
