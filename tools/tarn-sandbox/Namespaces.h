// A private view of the three folders that the library works on, in a mount namespace of its own.
#ifndef TARN_SANDBOX_NAMESPACES_H
#define TARN_SANDBOX_NAMESPACES_H

#include <string>

namespace sandbox {

inline constexpr char kEtc[] = "/etc";
inline constexpr char kEtcTarn[] = "/etc/tarn";
inline constexpr char kVarLog[] = "/var/log";
inline constexpr char kSecurity[] = "/sys/kernel/security";
inline constexpr char kSecurityTarn[] = "/sys/kernel/security/tarn";

// Moves this process, which must have one thread only, into a mount namespace of its own (and, where it lacks the
// privilege, into a user namespace that maps it to uid 0) and gives it an empty /etc/tarn, /var/log and
// /sys/kernel/security/tarn. A non-empty etcDirectory is bound as /etc/tarn. Throws Failure where the machine refuses.
void enterNamespaces(const std::string& etcDirectory);

}  // namespace sandbox

#endif
