// What the manager keeps beyond its laid-out members; the public header only declares it, so that hosts need no
// rebuild when it changes.
#ifndef TARN_MANAGER_PRIVATE_H
#define TARN_MANAGER_PRIVATE_H

#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

// The end of a message under construction, as a caller of the encoders holds it.
struct EncoderOutput {
    char*& cursor;
    unsigned long& used;
};

struct __attribute__((visibility("hidden"))) PolicyModuleManagerInterface::Private {
    // The encoders, on references; the manager's own, which take their arguments by value, forward to them. They
    // append to the message, log every failure and return its status; what was appended before a failure stays.
    static unsigned int encodeRecord(PolicyModuleManagerInterface& manager, const PolicyNode& rule,
                                     const TARN_ID& subject, const TARN_ID& object, EncoderOutput out);
    static unsigned int encodeExpr(PolicyModuleManagerInterface& manager, const PolicyNode& rule, const ExprNode& expr,
                                   EncoderOutput out);
    static unsigned int encodeAction(PolicyModuleManagerInterface& manager, const PolicyNode& rule,
                                     const DoFuncNode& action, EncoderOutput out);

    // Compiles the rules of one section in `threadnum` threads and joins them all; 0, or 1 when any of them failed.
    static int compileSection(PolicyModuleManagerInterface& manager, const std::string& section,
                              const std::vector<PolicyNode>& rules);
    struct SliceCompiler;
};

#endif
