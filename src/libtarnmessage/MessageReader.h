// The strict reader of kernel messages: it takes any bytes, refuses whatever the kernel module would refuse, and shows
// what it accepts without copying it. No exceptions of its own, no memory that grows with the input, no recursion.
#ifndef TARN_MESSAGE_READER_H
#define TARN_MESSAGE_READER_H

#include <optional>
#include <string_view>

#include "libtarnmessage/Finding.h"
#include "libtarnmessage/FunctionTable.h"
#include "libtarnmessage/MessageViews.h"

namespace tarnmessage {

// Called in the order of the bytes. A block or record is shown when it is sound in itself; the message may still be
// refused for what follows.
class MessageVisitor {
public:
    MessageVisitor() = default;
    MessageVisitor(const MessageVisitor&) = delete;
    MessageVisitor& operator=(const MessageVisitor&) = delete;
    virtual ~MessageVisitor() = default;

    virtual void onHeader(const kernelmsg::MessageHeader& /*header*/) {}
    virtual void onNamespace(const NamespaceView& /*block*/) {}
    virtual void onPolicy(const PolicyRecordView& /*record*/) {}
};

struct ReadContext {
    // What the set's namespace message announced. Null: function numbers are not looked up.
    const FunctionTable* functions = nullptr;
};

// Takes the header off the bytes; refuses what is too short to hold one (22) and an unknown type (74), which come
// before every other refusal. The other words are left to parseMessage. The header is unchanged when there was none.
std::optional<Finding> readHeader(std::string_view bytes, kernelmsg::MessageHeader& header);

// Reads one whole message: nothing when it is sound, else the first finding in the order of the bytes.
std::optional<Finding> parseMessage(std::string_view bytes, const ReadContext& context, MessageVisitor& visitor);

}  // namespace tarnmessage

#endif
