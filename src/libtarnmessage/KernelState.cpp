#include "libtarnmessage/KernelState.h"

#include <utility>

namespace tarnmessage {

namespace {

// Collects what a namespace message announces and passes everything on.
class Announcements : public MessageVisitor {
public:
    explicit Announcements(MessageVisitor& next) : next_(next) {}
    void onHeader(const kernelmsg::MessageHeader& header) override { next_.onHeader(header); }
    void onPolicy(const PolicyRecordView& record) override { next_.onPolicy(record); }
    void onNamespace(const NamespaceView& block) override {
        functions.add(block);
        next_.onNamespace(block);
    }

    FunctionTable functions;

private:
    MessageVisitor& next_;
};

KernelState::Phase phaseAfter(std::uint32_t type) {
    switch (type) {
        case kernelmsg::kTypeBegin:
            return KernelState::Phase::kOpened;
        case kernelmsg::kTypeNamespace:
            return KernelState::Phase::kNamed;
        case kernelmsg::kTypePolicy:
            return KernelState::Phase::kPolicies;
        default:
            return KernelState::Phase::kEnded;
    }
}

Finding orderFinding(FindingCode code, std::uint32_t expected, std::uint32_t type) {
    return {code, offsetof(kernelmsg::MessageHeader, type), expected, type};
}

}  // namespace

std::optional<Finding> KernelState::checkOrder(std::uint32_t type) const {
    const bool isOpen = phase_ != Phase::kClosed && phase_ != Phase::kEnded;
    if (type == kernelmsg::kTypeBegin) {
        return isOpen ? std::optional(orderFinding(FindingCode::kSecondBegin, kernelmsg::kTypePolicy, type))
                      : std::nullopt;
    }
    if (!isOpen) {
        const FindingCode code = phase_ == Phase::kEnded ? FindingCode::kAfterEnd : FindingCode::kNoBegin;
        return orderFinding(code, kernelmsg::kTypeBegin, type);
    }
    if (type == kernelmsg::kTypeNamespace && phase_ == Phase::kNamed) {
        return orderFinding(FindingCode::kSecondNamespaceMessage, kernelmsg::kTypePolicy, type);
    }
    if (type == kernelmsg::kTypeNamespace && phase_ == Phase::kPolicies) {
        return orderFinding(FindingCode::kLateNamespaceMessage, kernelmsg::kTypePolicy, type);
    }
    return std::nullopt;
}

std::optional<Finding> KernelState::read(std::string_view bytes, const kernelmsg::MessageHeader& header,
                                         MessageVisitor& visitor) {
    if (auto finding = checkOrder(header.type)) {
        return finding;
    }
    Announcements announcements(visitor);
    ReadContext context;
    context.functions = &functions_;
    if (auto finding = parseMessage(bytes, context, announcements)) {
        return finding;
    }
    phase_ = phaseAfter(header.type);
    if (phase_ == Phase::kOpened || phase_ == Phase::kNamed) {
        functions_ = std::move(announcements.functions);
    }
    return std::nullopt;
}

KernelState::Answer KernelState::deliver(std::string_view bytes, MessageVisitor& visitor) {
    Answer answer;
    answer.finding = readHeader(bytes, answer.header);
    if (!answer.finding) {
        answer.finding = read(bytes, answer.header, visitor);
    }
    if (answer.finding) {
        abandon();
    }
    return answer;
}

KernelState::Answer KernelState::deliver(std::string_view bytes) {
    MessageVisitor nobody;
    return deliver(bytes, nobody);
}

void KernelState::abandon() {
    if (phase_ != Phase::kEnded) {
        phase_ = Phase::kClosed;
    }
}

}  // namespace tarnmessage
