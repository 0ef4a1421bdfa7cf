// Runs a piece of work in several threads at once and waits for all of them.
#ifndef TARN_TESTS_THREADS_H
#define TARN_TESTS_THREADS_H

#include <cstddef>
#include <thread>
#include <vector>

// work(i) for each i below `count`, each in a thread of its own.
template <typename Work>
void runInThreads(std::size_t count, Work work) {
    std::vector<std::thread> threads;
    threads.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        threads.emplace_back([&work, index] { work(index); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

#endif
