// The steps with which the parsing of policy data begins: everything that the label manager is asked, in one pass.
#ifndef TARN_LABELS_LABEL_ACQUISITION_H
#define TARN_LABELS_LABEL_ACQUISITION_H

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"

namespace labels {

using Request = std::map<std::string, std::vector<std::string>>;
using Answer = std::map<std::string, std::map<std::string, std::vector<TARN_ID>>>;
using OidMap = std::map<std::string, TARN_ID>;
using OidCall = int (*)(std::vector<std::string>, OidMap&);

// Log what is asked and what came back, at level 3.
void traceRequest(const Request& request);
void traceAnswer(const Answer& answer);

// Asks for the labels with the mutex held, so that no name is registered while the label manager reads the table.
// Returns the label manager's status; a failure is logged.
int fetchLabels(std::mutex& mutex, const Request& request, Answer& answer);

// Asks for the identifiers of `names`, with their mutex held; an empty list asks nothing. Returns the label manager's
// status; a failure is logged in the words of `complaint`.
int fetchOids(std::mutex& mutex, const std::vector<std::string>& names, OidCall call, OidMap& oids,
              const char* complaint);

}  // namespace labels

#endif
