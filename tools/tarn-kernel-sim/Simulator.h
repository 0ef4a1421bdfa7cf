// The kernel module as far as a host can tell it from the real one: it judges messages, keeps the set in force, has the
// switches of the dynamic variables, and writes down what happened.
#ifndef TARN_KERNEL_SIM_SIMULATOR_H
#define TARN_KERNEL_SIM_SIMULATOR_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "Parameters.h"
#include "RuleStore.h"
#include "Transcript.h"
#include "libtarnmessage/KernelState.h"

namespace sim {

class Simulator {
public:
    // With tellsWriter false the answers reach nobody, and the transcript says so.
    explicit Simulator(bool tellsWriter = true) : tellsWriter_(tellsWriter) {}

    // One message: 0, or the errno that the writer gets.
    int deliver(std::string_view message);

    // Answers the count-th message from now on (1 is the next) with this errno, whatever it holds. As every refusal it
    // abandons the set that is open.
    void refuse(std::uint64_t count, int error) { refusals_[messages_ + count] = error; }
    void refuseNothing() { refusals_.clear(); }

    // Forgets sets, switches' values excepted, transcript and pending refusals; messages count from 1 again.
    void reset();

    std::string stateText() const;

    Transcript transcript;
    Parameters parameters;
    const RuleStore& rules() const { return rules_; }

private:
    int answerTo(std::string_view message, kernelmsg::MessageHeader& header, std::string& reason);
    void keep(std::string_view message, const kernelmsg::MessageHeader& header);
    void serveVariables();
    std::string line(std::string_view message, const kernelmsg::MessageHeader& header, int answer,
                     const std::string& reason) const;

    bool tellsWriter_;
    std::uint64_t messages_ = 0;
    std::map<std::uint64_t, int> refusals_;
    tarnmessage::KernelState state_;
    RuleStore rules_;
};

}  // namespace sim

#endif
