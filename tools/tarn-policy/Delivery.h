// Delivers a compiled set and says, when it comes to an end before its time, which message was refused and what the
// kernel may now hold.
#ifndef TARN_POLICY_DELIVERY_H
#define TARN_POLICY_DELIVERY_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Common/Handles.h"
#include "Progress.h"
#include "Report.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

// Throws Failure (kNoKernel) where the kernel's entry is missing. The library opens it with O_CREAT and would leave a
// plain file there.
void requireKernelEntry();

// SIGINT, SIGTERM and SIGHUP wait from here to the end of the process. A delivery that is cut short leaves half a set in
// the kernel, and one that is cut short after its end message loses the dynamic variables that are still to be settled.
void holdSignalsToTheEnd();

// Sees which messages a process opens, in order. sendPolicy gives one status for the whole set; the last message that
// it opened is the one that was refused.
class MessageWatch {
public:
    // Starts watching a set's directory. Where the kernel refuses a watch, opened() knows nothing.
    explicit MessageWatch(const std::string& directory);

    // The names opened since the beginning, in order. Nothing where the watch could not be had or has lost events.
    std::optional<std::vector<std::string>> opened();

    // The number of messages that were opened and left again for the next, as far as it can be known.
    std::size_t passed();

private:
    void take();

    UniqueFd fd_;
    std::vector<std::string> names_;
};

// How far a delivery came.
struct DeliveryEnd {
    std::string directory = paths::kPolicyDataTmp;  // of the set
    std::vector<std::string> order;                 // all messages, in the order of delivery
    std::optional<std::size_t> stopped;  // index of the refused message; order.size(): all were taken; none: not known
    bool endUnclear = false;             // `stopped` is the end message, and it can't be told whether it was refused
    const char* afterEnd = "the files could not be renamed";  // what else that status can mean
    unsigned int status = 0;                                  // of the library
};

// The kernel has the whole set; a status other than 0 then belongs to what follows the end message.
bool allTaken(const DeliveryEnd& end);

// Writes "delivery" of the JSON object, also for a complete delivery.
void reportDelivery(Report& report, const DeliveryEnd& end);

// The failure that a delivery with a non-zero status ends in.
Failure deliveryFailure(const DeliveryEnd& end);

// The files keep their temporary names although the kernel has the whole set.
Failure renameFailure(int status);

// sendPolicy, watched. A status other than 0 is the caller's to report: what follows the end message may have begun.
DeliveryEnd deliverWithLibrary(PolicyModuleManagerInterface& manager, Report& report, Progress& progress);

// sendInitPolicy, watched: the finished set in `directory`, which lies below `mountPoint`. Throws Failure.
void deliverFinished(PolicyModuleManagerInterface& manager, const std::string& mountPoint, const std::string& directory,
                     Report& report);

// Each message by itself, in the order of sendPolicy, without what follows there. Throws Failure.
void deliverMessages(PolicyModuleManagerInterface& manager, Report& report, Progress& progress);

#endif
