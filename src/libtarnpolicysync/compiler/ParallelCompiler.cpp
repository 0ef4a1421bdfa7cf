#include <algorithm>
#include <exception>

#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/compiler/PolicySnapshot.h"
#include "libtarnpolicysync/compiler/RuleSlices.h"
#include "libtarnpolicysync/compiler/SliceCompiler.h"
#include "libtarnpolicysync/compiler/SliceWorkers.h"

namespace {

// Guards the results of the compiler threads, whichever manager and stage started them.
std::mutex g_mutex;

bool canBeCutInto(int count) {
    if (count < 1) {
        TARN_LOG(kLogError, "###ERROR: in splitVector, wrong threadnum n");
        return false;
    }
    return true;
}

}  // namespace

int splitVector(const std::vector<PolicyNode>& nodes, int n, std::vector<std::vector<PolicyNode>>& slices) {
    if (!canBeCutInto(n)) {
        return 1;
    }
    const auto count = static_cast<std::size_t>(n);
    for (std::size_t index = 0; index < count; ++index) {
        slices[index] = copySlice(nodes, count, index);
    }
    return 0;
}

int PolicyModuleManagerInterface::compileKernelPolicyThread(std::string prefix, std::vector<PolicyNode> slice,
                                                            std::string directory, std::vector<int>& results,
                                                            std::mutex& mutex) {
    const int status = Private::SliceCompiler(*this, prefix, directory).compile(slice);
    const std::lock_guard<std::mutex> lock(mutex);
    results.push_back(status);
    return status;
}

std::vector<int> PolicyModuleManagerInterface::Private::compileSlices(PolicyModuleManagerInterface& manager,
                                                                      SliceWorkers& workers,
                                                                      std::vector<std::vector<PolicyNode>>& slices,
                                                                      const std::string& stem,
                                                                      const std::string& directory) {
    std::vector<int> results;
    std::vector<int> statuses(slices.size(), 0);
    const SliceWorkers::Task compileSlice = [&](std::size_t index) {
        try {
            statuses[index] = manager.compileKernelPolicyThread(paths::slicePrefix(stem, index),
                                                                std::move(slices[index]), directory, results, g_mutex);
        } catch (const std::exception&) {  // out of memory, or a table that can't be locked: the caller's line says so
            statuses[index] = 1;
        }
    };
    std::vector<std::size_t> indices;
    for (std::size_t index = 0; index < slices.size(); ++index) {
        if (workers.isMissing(index)) {
            statuses[index] = 1;
        } else if (!slices[index].empty()) {  // an empty slice writes nothing and succeeds
            indices.push_back(index);
        }
    }
    workers.run(indices, compileSlice);
    return statuses;
}

int PolicyModuleManagerInterface::compileKernelPolicyMsg() {
    std::vector<SectionSnapshot> sections;
    {
        const std::lock_guard<std::mutex> lock(m_mutexPolicy);
        sections = takeSnapshot(m_mapPolicy, threadnum);
    }
    if (sections.empty()) {
        return 0;
    }
    if (!canBeCutInto(threadnum)) {
        return 1;
    }
    SliceWorkers workers(threadnum);
    for (SectionSnapshot& section : sections) {
        const std::vector<int> statuses =
            Private::compileSlices(*this, workers, section.slices, paths::keyStem(section.key), paths::kPolicyDataTmp);
        if (std::any_of(statuses.begin(), statuses.end(), [](int status) { return status != 0; })) {
            TARN_LOG(kLogError, "###ERROR: in compileKernelPolicyMsg, process %s error", section.key.c_str());
            return 1;
        }
    }
    return 0;
}
