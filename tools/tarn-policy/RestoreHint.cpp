#include "RestoreHint.h"

#include "CutOffRenames.h"
#include "Files.h"
#include "libtarnpolicysync/Paths.h"

std::string restoreHint() {
    const std::string verb = "tarn-policy restore";
    if (renamesWereCutOff()) {
        return verb + " can do nothing until tarn-policy apply or compile has finished the renames that were cut off";
    }
    return fileExists(paths::kPolicyData)
               ? "to have the last finished set in force again (" + std::string(paths::kPolicyData) + "): " + verb
               : verb + " would deliver the last finished set again, but there is none yet (" +
                     std::string(paths::kPolicyData) + ")";
}
