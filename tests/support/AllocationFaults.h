// Lets allocations of the C++ run-time fail by their size, in whatever thread they are made. Only programs that link
// tarn_test_allocations have this.
#ifndef TARN_TESTS_ALLOCATION_FAULTS_H
#define TARN_TESTS_ALLOCATION_FAULTS_H

#include <cstddef>

// While it lives, operator new throws std::bad_alloc for requests of `from` to `to` bytes.
class AllocationFaults {
public:
    AllocationFaults(std::size_t from, std::size_t to);
    ~AllocationFaults();
    AllocationFaults(const AllocationFaults&) = delete;
    AllocationFaults& operator=(const AllocationFaults&) = delete;

    // The requests that were refused.
    static std::size_t refused();
};

#endif
