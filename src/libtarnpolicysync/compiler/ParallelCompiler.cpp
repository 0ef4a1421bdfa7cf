#include <algorithm>
#include <exception>

#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/compiler/CompilerThreads.h"
#include "libtarnpolicysync/compiler/PolicySnapshot.h"
#include "libtarnpolicysync/compiler/SliceRange.h"

namespace {

// Guards the results of the compiler threads, whichever manager and stage started them.
std::mutex g_mutex;

}  // namespace

bool canBeCutInto(int count) {
    if (count < 1) {
        TARN_LOG(kLogError, "###ERROR: in splitVector, wrong threadnum n");
        return false;
    }
    return true;
}

int splitVector(const std::vector<PolicyNode>& nodes, int n, std::vector<std::vector<PolicyNode>>& slices) {
    if (!canBeCutInto(n)) {
        return 1;
    }
    const auto count = static_cast<std::size_t>(n);
    for (std::size_t index = 0; index < count; ++index) {
        const SliceRange range = sliceRange(nodes.size(), count, index);
        const auto first = nodes.begin() + static_cast<std::ptrdiff_t>(range.begin);
        slices[index] = {first, first + static_cast<std::ptrdiff_t>(range.length)};
    }
    return 0;
}

PolicyModuleManagerInterface::Private::CompilerThreads::CompilerThreads(PolicyModuleManagerInterface& manager,
                                                                        std::size_t count, const std::string& directory)
    : workers_(count) {
    compilers_.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        compilers_.emplace_back(manager, directory);
    }
}

template <typename Rules>
int PolicyModuleManagerInterface::Private::CompilerThreads::compileSlice(SliceCompiler& compiler,
                                                                         const std::string& prefix, const Rules& rules,
                                                                         std::vector<int>& results, std::mutex& mutex) {
    const int status = compiler.compile(prefix, rules);
    const std::lock_guard<std::mutex> lock(mutex);
    results.push_back(status);
    return status;
}

std::vector<int> PolicyModuleManagerInterface::Private::CompilerThreads::compile(std::vector<RuleSlice>& slices,
                                                                                 const std::string& stem) {
    std::vector<int> results;
    std::vector<int> statuses(slices.size(), 0);
    const SliceWorkers::Task compileOne = [&](std::size_t index) {
        try {
            const RuleSlice slice = std::move(slices[index]);
            statuses[index] = compileSlice(compilers_[index], paths::slicePrefix(stem, index), slice, results, g_mutex);
        } catch (const std::exception&) {  // out of memory, or a table that can't be locked: the caller's line says so
            statuses[index] = 1;
        }
    };
    std::vector<std::size_t> indices;
    for (std::size_t index = 0; index < slices.size(); ++index) {
        if (workers_.isMissing(index)) {
            statuses[index] = 1;
        } else if (!slices[index].runs().empty()) {  // an empty slice writes nothing and succeeds
            indices.push_back(index);
        }
    }
    workers_.run(indices, compileOne);
    return statuses;
}

int PolicyModuleManagerInterface::compileKernelPolicyThread(std::string prefix, std::vector<PolicyNode> slice,
                                                            std::string directory, std::vector<int>& results,
                                                            std::mutex& mutex) {
    Private::SliceCompiler compiler(*this, directory);
    return Private::CompilerThreads::compileSlice(compiler, prefix, slice, results, mutex);
}

int PolicyModuleManagerInterface::compileKernelPolicyMsg() {
    const std::uint16_t count = threadnum;
    std::vector<SlicedRules> sections;
    {
        const std::lock_guard<std::mutex> lock(m_mutexPolicy);
        sections = takeSnapshot(m_mapPolicy, count);
    }
    if (sections.empty()) {
        return 0;
    }
    if (!canBeCutInto(count)) {
        return 1;
    }
    Private::CompilerThreads threads(*this, count, paths::kPolicyDataTmp);
    for (SlicedRules& section : sections) {
        const std::vector<int> statuses = threads.compile(section.slices, paths::keyStem(section.key));
        if (std::any_of(statuses.begin(), statuses.end(), [](int status) { return status != 0; })) {
            TARN_LOG(kLogError, "###ERROR: in compileKernelPolicyMsg, process %s error", section.key.c_str());
            return 1;
        }
    }
    return 0;
}
