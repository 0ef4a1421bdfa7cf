// What the manager keeps beyond its laid-out members; the public header only declares it, so that hosts need no
// rebuild when it changes.
#ifndef TARN_MANAGER_PRIVATE_H
#define TARN_MANAGER_PRIVATE_H

#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

class SliceWorkers;

// The end of a message under construction, as a caller of the encoders holds it.
struct EncoderOutput {
    char*& cursor;
    unsigned long& used;
};

struct __attribute__((visibility("hidden"))) PolicyModuleManagerInterface::Private {
    class NumberLookup;   // compiler/NumberLookup.h
    class SliceCompiler;  // compiler/SliceCompiler.h

    // The encoders, on references; the manager's own, which take their arguments by value, forward to them. They
    // append to the message, log every failure and return its status; what was appended before a failure stays.
    static unsigned int encodeRecord(NumberLookup& lookup, const PolicyNode& rule, const TARN_ID& subject,
                                     const TARN_ID& object, EncoderOutput out);
    static unsigned int encodeExpr(NumberLookup& lookup, const PolicyNode& rule, const ExprNode& expr,
                                   EncoderOutput out);
    static unsigned int encodeAction(NumberLookup& lookup, const PolicyNode& rule, const DoFuncNode& action,
                                     EncoderOutput out);

    // Compiles each slice on its own worker into message files whose names begin with `stem` and the slice number.
    // Gives every slice's status, by slice; that of a slice whose thread can't be started is 1.
    static std::vector<int> compileSlices(PolicyModuleManagerInterface& manager, SliceWorkers& workers,
                                          std::vector<std::vector<PolicyNode>>& slices, const std::string& stem,
                                          const std::string& directory);
};

#endif
