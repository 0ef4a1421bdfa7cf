// The threads of one compilation, each with what it remembers from section to section.
#ifndef TARN_COMPILER_COMPILER_THREADS_H
#define TARN_COMPILER_COMPILER_THREADS_H

#include <mutex>
#include <string>
#include <vector>

#include "libtarnpolicysync/compiler/RuleSlice.h"
#include "libtarnpolicysync/compiler/SliceCompiler.h"
#include "libtarnpolicysync/compiler/SliceWorkers.h"

class PolicyModuleManagerInterface::Private::CompilerThreads {
public:
    // So many threads; their files go to the directory.
    CompilerThreads(PolicyModuleManagerInterface& manager, std::size_t count, const std::string& directory);

    // Compiles each slice on a thread of its own, and the last that has rules on the caller's, into message files whose
    // names begin with `stem` and the slice number, and frees it there. Gives every slice's status, by slice; that of a
    // slice whose thread can't be started is 1, wherever it would have been compiled.
    std::vector<int> compile(std::vector<RuleSlice>& slices, const std::string& stem);

    // The body of one thread: compiles the rules and adds the status to the results, which the mutex guards.
    template <typename Rules>
    static int compileSlice(SliceCompiler& compiler, const std::string& prefix, const Rules& rules,
                            std::vector<int>& results, std::mutex& mutex);

private:
    SliceWorkers workers_;
    std::vector<SliceCompiler> compilers_;  // by slice
};

#endif
