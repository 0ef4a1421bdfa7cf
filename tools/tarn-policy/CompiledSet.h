// The compiled set on disk: which messages it has, in which order they are delivered, and whether it came from a full
// compilation.
#ifndef TARN_POLICY_COMPILED_SET_H
#define TARN_POLICY_COMPILED_SET_H

#include <optional>
#include <string>
#include <vector>

#include "Variables.h"
#include "libtarnpolicysync/Paths.h"

// Names within a set's directory in the order in which the library delivers them: begin message, namespace message, the
// others as the directory lists them, end message; links and anything but regular files are left out. Frame messages
// are named only where they exist. Throws Failure where the directory can't be read.
std::vector<std::string> messagesInOrder(const std::string& directory = paths::kPolicyDataTmp);

// True when something stands in the set's place.
bool setExists();

// Messages that must be there and are not: those that are listed, and files within a numbered series ("x_1" needs "x_0").
// Sorted names.
std::vector<std::string> missingMessages(const std::string& directory, const std::vector<std::string>& listed);

// Takes the end message of a set away, without which nobody sends it: 0, also where there was none, or an errno. A link
// in the set's place leads nowhere.
int takeEndMessageAway(const char* set);

// Takes the end message of the set that waits away, without which no set is sent, and the note with it, and gives words for what was done. For
// a set that stands but is not to be delivered.
std::string spoilSet();

// What a compilation leaves beside the set for the process that sends it. Whether dynamic variables are dropped or
// replayed after a delivery depends on a flag that dies with the process that compiled; the note outlives it. It lists
// name, size and checksum of every message, so that it holds for exactly the set it was written for: a set that anybody
// changed later is no longer known to be a full one.
class FullCompilationNote {
public:
    static constexpr char kPath[] = "/etc/tarn/.tarn-policy-full";

    // Before a compilation: the note of the set that is about to go gives way to one that keeps the new set from being
    // sent until it has been compared with its policy. Throws Failure.
    static void markUnfinished();
    static bool unfinished();
    // `variables` are those that the policy wants set after the delivery. Throws Failure.
    static void write(const std::vector<Variable>& variables);
    static void remove();
    // The variables of the note where it holds for the set as it stands; else nothing.
    static std::optional<std::vector<Variable>> read();
    // The names of the messages that the note lists, also where it does not hold.
    static std::vector<std::string> messages();
    // Whether the folder of the set has changed since the note was written, and no compilation has done it: each writes
    // the namespace message. A message that the note lists and the set lacks is lost then. Else the note may well be
    // that of another set.
    static bool tellsOfLosses();
};

#endif
