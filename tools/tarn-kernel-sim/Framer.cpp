#include <utility>

#include "Fifo.h"

namespace sim {

std::optional<std::string> Framer::next() {
    kernelmsg::MessageHeader header{};
    if (!tarnmessage::ByteCursor(pending_, 0, pending_.size()).take(header) || header.length < sizeof(header) ||
        header.length > kernelmsg::kMessageCapacity || pending_.size() < header.length) {
        return std::nullopt;
    }
    std::string message = pending_.substr(0, header.length);
    pending_.erase(0, header.length);
    return message;
}

std::optional<std::string> Framer::rest() {
    return pending_.empty() ? std::nullopt : std::optional(std::exchange(pending_, {}));
}

}  // namespace sim
