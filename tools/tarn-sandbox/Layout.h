// The folders that the sandbox makes private, and what stands in them.
#ifndef TARN_SANDBOX_LAYOUT_H
#define TARN_SANDBOX_LAYOUT_H

#include <string>

namespace sandbox {

inline constexpr char kEtc[] = "/etc";
inline constexpr char kEtcTarn[] = "/etc/tarn";
inline constexpr char kVarLog[] = "/var/log";
inline constexpr char kSecurity[] = "/sys/kernel/security";
inline constexpr char kSecurityTarn[] = "/sys/kernel/security/tarn";
inline constexpr char kRunLock[] = "/run/lock";
inline constexpr char kDeliver[] = "/sys/kernel/security/tarn/policy_deliver";
inline constexpr char kParas[] = "/sys/kernel/security/tarn/paras";
inline constexpr char kTranscript[] = "/var/log/tarn-kernel-sim.log";

// What the command finds in its environment about the sandbox around it.
inline constexpr char kEnvSandbox[] = "TARN_SANDBOX";                // namespace or chroot
inline constexpr char kEnvKernel[] = "TARN_SANDBOX_KERNEL";          // fuse, fifo or none
inline constexpr char kEnvTranscript[] = "TARN_SANDBOX_TRANSCRIPT";  // path; unset without a simulator

inline bool isBelow(const std::string& path, const std::string& folder) {
    return path == folder || path.rfind(folder + "/", 0) == 0;
}

// What lies there is another thing inside than outside.
inline bool isPrivate(const std::string& path) {
    return isBelow(path, kEtcTarn) || isBelow(path, kVarLog) || isBelow(path, kSecurity);
}

}  // namespace sandbox

#endif
