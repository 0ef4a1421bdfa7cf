#include "RestoreHint.h"

#include "Files.h"
#include "libtarnpolicysync/Paths.h"

std::string restoreHint() {
    const std::string verb = "tarn-policy restore";
    return fileExists(paths::kPolicyData)
               ? "to have the last finished set in force again (" + std::string(paths::kPolicyData) + "): " + verb
               : verb + " would deliver the last finished set again, but there is none yet (" +
                     std::string(paths::kPolicyData) + ")";
}
