#include "Simulator.h"

#include "libtarnmessage/MessageText.h"

namespace sim {

namespace {

const char* phaseText(tarnmessage::KernelState::Phase phase) {
    using Phase = tarnmessage::KernelState::Phase;
    switch (phase) {
        case Phase::kOpened:
            return "begun";
        case Phase::kNamed:
            return "namespaces";
        case Phase::kPolicies:
            return "policies";
        case Phase::kEnded:
            return "complete";
        default:
            return "closed";
    }
}

}  // namespace

int Simulator::deliver(std::string_view message) {
    ++messages_;
    kernelmsg::MessageHeader header{};
    std::string reason;
    const int answer = answerTo(message, header, reason);
    if (answer == 0) {
        keep(message, header);
    } else {
        rules_.abandon();
    }
    transcript.add(line(message, header, answer, reason));
    return answer;
}

int Simulator::answerTo(std::string_view message, kernelmsg::MessageHeader& header, std::string& reason) {
    if (const auto refusal = refusals_.find(messages_); refusal != refusals_.end()) {
        const int answer = refusal->second;
        refusals_.erase(refusal);
        static_cast<void>(tarnmessage::readHeader(message, header));
        state_.abandon();
        reason = "on command";
        return answer;
    }
    const tarnmessage::KernelState::Answer answer = state_.deliver(message);
    header = answer.header;
    reason = answer.finding ? tarnmessage::toText(*answer.finding) : "";
    return answer.number();
}

void Simulator::keep(std::string_view message, const kernelmsg::MessageHeader& header) {
    if (header.type == kernelmsg::kTypeBegin) {
        rules_.begin();
    }
    rules_.add(message, header.type == kernelmsg::kTypePolicy ? header.recordCount : 0);
    if (header.type == kernelmsg::kTypeEnd) {
        rules_.commit(state_.functions());
        serveVariables();
    }
}

// Each variable that a rule in force asks about gets its switch.
void Simulator::serveVariables() {
    for (const std::string& variable : rules_.variables()) {
        const std::size_t colon = variable.find(':');
        static_cast<void>(parameters.add(variable.substr(0, colon), variable.substr(colon + 1)));
    }
}

std::string Simulator::line(std::string_view message, const kernelmsg::MessageHeader& header, int answer,
                            const std::string& reason) const {
    const std::string type = message.size() < sizeof(header) ? "headless" : tarnmessage::messageTypeText(header.type);
    std::string text = std::to_string(messages_) + " " + type + " bytes=" + std::to_string(message.size()) +
                       " records=" + std::to_string(header.recordCount);
    if (answer == 0) {
        return text + " accepted";
    }
    text += " refused " + errnoText(answer) + " " + reason;
    return tellsWriter_ ? text : text + "; the writer was not told, a FIFO carries no answer";
}

void Simulator::reset() {
    state_ = {};
    rules_ = {};
    refusals_.clear();
    transcript.clear();
    messages_ = 0;
}

std::string Simulator::stateText() const {
    return std::string("phase=") + phaseText(state_.phase()) + " messages=" + std::to_string(messages_) +
           " records=" + std::to_string(rules_.records()) + "\n";
}

}  // namespace sim
