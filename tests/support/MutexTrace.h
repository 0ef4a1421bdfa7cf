// Watches the mutexes of one manager: which were locked and released, in order, and makes a chosen one fail to lock.
#ifndef TARN_TESTS_MUTEX_TRACE_H
#define TARN_TESTS_MUTEX_TRACE_H

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/Interpose.h"
#include "support/ManagerAccess.h"

class MutexTrace {
public:
    using Named = std::pair<std::string, std::mutex*>;

    // The table mutexes in the order in which the manager declares them.
    static std::vector<Named> mutexesOf(ManagerAccess& manager) {
        return {{"policy", &manager.m_mutexPolicy},        {"namespace", &manager.m_mutexNamespaceFunc},
                {"files", &manager.m_mutexFileToGetLabel}, {"devices", &manager.deviceVecMutex},
                {"modules", &manager.kmodVecMutex},        {"users", &manager.m_mutexUserUid},
                {"names", &manager.m_mutexNameId},         {"functions", &manager.m_mutexFuncId},
                {"variables", &manager.dynamicVarMutex},   {"time", &manager.timeMutex}};
    }

    explicit MutexTrace(ManagerAccess& manager)
        : mutexes_(mutexesOf(manager)),
          lock_(interpose::pthread_mutex_lock.replace([this](pthread_mutex_t* mutex) { return lock(mutex); })),
          unlock_(interpose::pthread_mutex_unlock.replace([this](pthread_mutex_t* mutex) { return unlock(mutex); })) {}

    // What lock() of this mutex returns from now on.
    void fail(const std::string& name, int error) {
        failing_ = name;
        error_ = error;
    }
    // Called at each step, with "lock x" before the lock and "unlock x" before the release.
    void watch(std::function<void(const std::string&)> watcher) { watcher_ = std::move(watcher); }

    // "lock x", "unlock x" and so on. Traces one thread.
    const std::vector<std::string>& steps() const { return steps_; }

private:
    const Named* find(pthread_mutex_t* mutex) const {
        for (const Named& named : mutexes_) {
            if (named.second->native_handle() == mutex) {
                return &named;
            }
        }
        return nullptr;
    }
    void record(const std::string& step) {
        steps_.push_back(step);
        if (watcher_) {
            watcher_(step);
        }
    }
    int lock(pthread_mutex_t* mutex) {
        if (const Named* named = find(mutex)) {
            record("lock " + named->first);
            if (named->first == failing_) {
                return error_;
            }
        }
        return interpose::pthread_mutex_lock.real(mutex);
    }
    int unlock(pthread_mutex_t* mutex) {
        if (const Named* named = find(mutex)) {
            record("unlock " + named->first);
        }
        return interpose::pthread_mutex_unlock.real(mutex);
    }

    std::vector<Named> mutexes_;
    std::string failing_;
    int error_ = 0;
    std::function<void(const std::string&)> watcher_;
    std::vector<std::string> steps_;
    decltype(interpose::pthread_mutex_lock)::Guard lock_;
    decltype(interpose::pthread_mutex_unlock)::Guard unlock_;
};

// True when another thread could take the mutex now.
inline bool isFree(std::mutex& mutex) {
    if (!mutex.try_lock()) {
        return false;
    }
    mutex.unlock();
    return true;
}

#endif
