// Reads messages from a FIFO where nothing can be mounted: each is judged and written down, but its writer can't be
// told.
#ifndef TARN_KERNEL_SIM_FIFO_H
#define TARN_KERNEL_SIM_FIFO_H

#include <optional>
#include <string>

#include "Simulator.h"

namespace sim {

// Cuts a stream of bytes into messages by the length in their headers. Where a header gives a length that no message
// can have, nothing tells where the next one begins: the rest of what the writers left is then one message.
class Framer {
public:
    void add(const char* bytes, std::size_t count) { pending_.append(bytes, count); }
    // The next whole message, if there is one.
    std::optional<std::string> next();
    // What is left over once all writers have closed.
    std::optional<std::string> rest();

private:
    std::string pending_;
};

int serveFifo(const std::string& path, Simulator& simulator, int readyFd);

}  // namespace sim

#endif
