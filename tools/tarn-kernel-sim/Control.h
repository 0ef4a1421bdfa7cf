// The commands that a running simulator takes, one per line:
//   refuse N ERRNO      answer the N-th message from now on with this errno, by number or name
//   refuse nothing      forget refusals that have not come up
//   para NAMESPACE/NAME serve a switch
//   reset               forget sets, transcript and refusals
#ifndef TARN_KERNEL_SIM_CONTROL_H
#define TARN_KERNEL_SIM_CONTROL_H

#include <cstdint>
#include <string>
#include <string_view>

namespace sim {

class Simulator;

// What a mounted file system can answer: 1 to 511.
inline constexpr int kGreatestErrno = 511;

// "22" or "EINVAL"; -1 for what is no errno.
int parseErrno(const std::string& text);

struct Refusal {
    std::uint64_t count = 0;
    int error = 0;
};
// False where either is wrong; a count is at least 1.
bool parseRefusal(const std::string& count, const std::string& error, Refusal& refusal);

// 0, or EINVAL at the first line that is no command; the lines before it have been carried out.
int control(Simulator& simulator, std::string_view commands);

}  // namespace sim

#endif
