#include "support/AllocationFaults.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

// Constant initialisation: memory is asked for before any constructor of this program has run.
std::atomic<std::size_t> g_from{1};
std::atomic<std::size_t> g_to{0};
std::atomic<std::size_t> g_refused{0};

void* allocate(std::size_t bytes) noexcept {
    if (bytes >= g_from && bytes <= g_to) {
        ++g_refused;
        return nullptr;
    }
    return std::malloc(bytes == 0 ? 1 : bytes);
}

}  // namespace

AllocationFaults::AllocationFaults(std::size_t from, std::size_t to) {
    g_refused = 0;
    g_from = from;
    g_to = to;
}

AllocationFaults::~AllocationFaults() {
    g_from = 1;
    g_to = 0;
}

std::size_t AllocationFaults::refused() {
    return g_refused;
}

// All forms that a container can reach, so that what is taken here also comes back here.
void* operator new(std::size_t bytes) {
    void* memory = allocate(bytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(bytes);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*bytes*/) noexcept {
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
