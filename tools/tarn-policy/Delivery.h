// Delivers a compiled set and says, when it comes to an end before its time, which message was refused and what the
// kernel may now hold.
#ifndef TARN_POLICY_DELIVERY_H
#define TARN_POLICY_DELIVERY_H

#include <csignal>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Common/Handles.h"
#include "Progress.h"
#include "Report.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

// Throws Failure (kNoKernel) where the kernel's entry is missing. The library opens it with O_CREAT and would leave a
// plain file there.
void requireKernelEntry();

// SIGINT, SIGTERM and SIGHUP wait while the object lives: a delivery that is cut short leaves half a set in the kernel.
class SignalsHeld {
public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t before_;
};

// Sees which messages a process opens, in order. sendPolicy gives one status for the whole set; the last message that
// it opened is the one that was refused.
class MessageWatch {
public:
    // Starts watching the set's directory. Where the kernel refuses a watch, opened() knows nothing.
    MessageWatch();

    // The names opened since, in order. Nothing where the watch could not be had or has lost events.
    std::optional<std::vector<std::string>> opened();

private:
    UniqueFd fd_;
};

// How far a delivery came.
struct DeliveryEnd {
    std::vector<std::string> order;      // all messages, in the order of delivery
    std::optional<std::size_t> stopped;  // index of the refused message; order.size(): all were taken; none: not known
    unsigned int status = 0;             // of the library
};

// Writes "delivery" of the JSON object, also for a complete delivery.
void reportDelivery(Report& report, const DeliveryEnd& end);

// The failure that a delivery with a non-zero status ends in.
Failure deliveryFailure(const DeliveryEnd& end);

// sendPolicy, watched. Throws Failure.
void deliverWithLibrary(PolicyModuleManagerInterface& manager, Report& report);

// Each message by itself, in the order of sendPolicy, without what follows there. Throws Failure.
void deliverMessages(PolicyModuleManagerInterface& manager, Report& report, Progress& progress);

#endif
