// The kernel module's side of a delivery: which message may follow which, and what the set has announced so far.
#ifndef TARN_MESSAGE_KERNEL_STATE_H
#define TARN_MESSAGE_KERNEL_STATE_H

#include <optional>
#include <string_view>

#include "libtarnmessage/MessageReader.h"

namespace tarnmessage {

// A set is begin, at most one namespace message, any number of policy messages, end. A begin message after the end
// opens the next set. A refused message abandons the set that is open: only a begin message is taken after it, so that
// a host starts over with a whole set and the kernel never puts a set into force that lacks a message.
class KernelState {
public:
    enum class Phase { kClosed, kOpened, kNamed, kPolicies, kEnded };

    struct Answer {
        kernelmsg::MessageHeader header{};  // zero when the bytes hold none
        std::optional<Finding> finding;     // nothing when the message was taken
        int number() const { return finding ? finding->answer() : 0; }
    };

    // Judges one message and moves on. Header and type come first, then the order, then all else. The visitor sees the
    // records of a message before the verdict stands.
    Answer deliver(std::string_view bytes, MessageVisitor& visitor);
    Answer deliver(std::string_view bytes);

    // As after a refusal that had another cause than the message.
    void abandon();

    Phase phase() const { return phase_; }
    // What the set's namespace message announced; of the last set until the next begins.
    const FunctionTable& functions() const { return functions_; }

private:
    std::optional<Finding> checkOrder(std::uint32_t type) const;
    std::optional<Finding> read(std::string_view bytes, const kernelmsg::MessageHeader& header,
                                MessageVisitor& visitor);

    Phase phase_ = Phase::kClosed;
    FunctionTable functions_;
};

}  // namespace tarnmessage

#endif
