#include "Verb.h"

const std::vector<VerbEntry>& verbTable() {
    static const std::vector<VerbEntry> kTable{
        {"", "check", "Find all mistakes of a policy; writes nothing and needs no privilege", makeCheck},
        {"", "inspect", "Show what stands in a set or a message, record by record", makeInspect},
        {"", "verify", "Say whether the kernel would take a set, and what it would not notice", makeVerify},
        {"", "stat", "Count the records of a set and show how full its messages are", makeStat},
        {"", "query", "Find the records of a subject, an object, a class and so on", makeQuery},
        {"", "diff", "Tell which rules were added, removed and changed between two sets", makeDiff},
        {"", "digest", "Print one number for the rules of a set, to compare machines by", makeDigest},
        {"", "compile", "Compile a policy into a set under /etc/tarn, to be sent later", makeCompile},
        {"", "send", "Deliver the compiled set to the kernel", makeSend},
        {"", "apply", "Compile a policy and deliver it to the kernel", makeApply},
        {"", "section", "Compile one namespace and group and put it into the set", makeSection},
        {"", "send-init", "Deliver a finished set at boot, from this machine or a mounted tree", makeSendInit},
        {"", "restore", "Deliver the finished set of this machine again", makeRestore},
        {"var", "list", "List the saved dynamic variables", makeVarList},
        {"var", "set", "Switch a dynamic variable of the kernel and save it", makeVarSet},
        {"var", "clear", "Forget all saved dynamic variables; the kernel's switches stay", makeVarClear},
    };
    return kTable;
}
