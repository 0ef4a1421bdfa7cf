#include "RestoreHint.h"

#include "CutOffRenames.h"
#include "Files.h"
#include "libtarnpolicysync/Paths.h"

std::string restoreHint() {
    const std::string verb = "tarn-policy restore";
    const std::string set = paths::kPolicyData;
    if (renamesWereCutOff()) {
        return verb + " finishes the renames that were cut off, where the set of " + paths::kPolicyDataTmp +
               " is sound, and delivers that set";
    }
    if (!fileExists(set)) {
        return verb + " would deliver the last finished set again, but there is none yet (" + set + ")";
    }
    if (!fileExists(paths::inDirectory(set, paths::kEndName))) {
        return verb + " has nothing to deliver: the last finished set (" + set + ") has no end message";
    }
    return "to have the last finished set in force again (" + set + "): " + verb;
}
