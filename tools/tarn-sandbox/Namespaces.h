// A private view of the three folders that the library works on, in a mount namespace of its own.
#ifndef TARN_SANDBOX_NAMESPACES_H
#define TARN_SANDBOX_NAMESPACES_H

#include <string>
#include <vector>

#include "Failure.h"

namespace sandbox {

// The machine refuses namespaces or mounts in them; another way may work.
class NamespaceRefused : public Failure {
public:
    using Failure::Failure;
};

// Moves this process, which must have one thread only, into a mount namespace of its own (and, where it lacks the
// privilege, into a user namespace that maps it to uid 0) and gives it an empty /etc/tarn, /var/log and
// /sys/kernel/security/tarn. A non-empty etcDirectory is bound as /etc/tarn. `written` are further
// paths that shall reach the disk. Throws NamespaceRefused where the machine
// refuses, Failure where the caller asked for something that can't be.
void enterNamespaces(const std::string& etcDirectory, const std::vector<std::string>& written);

}  // namespace sandbox

#endif
