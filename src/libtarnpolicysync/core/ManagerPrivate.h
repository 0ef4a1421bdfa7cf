// What the manager keeps beyond its laid-out members; the public header only declares it, so that hosts need no
// rebuild when it changes.
#ifndef TARN_MANAGER_PRIVATE_H
#define TARN_MANAGER_PRIVATE_H

#include <string>
#include <unordered_map>

#include "Common/ListIndex.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

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

    class CompilerThreads;  // compiler/CompilerThreads.h

    // Beside the lists of two tables, by their keys; guarded by the mutex of the table and cleared with it.
    using ListIndexes = std::unordered_map<std::string, ListIndex>;
    ListIndexes functionIndexes;     // of m_mapNamespaceFunc
    ListIndexes fileToLabelIndexes;  // of m_mapFileToGetLabel
};

#endif
