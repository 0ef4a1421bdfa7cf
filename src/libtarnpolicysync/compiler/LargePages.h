// An allocator for lists that grow large and are written once: from two megabytes on the memory is asked for in large pages,
// of which the system hands out many at one fault. It is given back as soon as the list is gone.
#ifndef TARN_COMPILER_LARGE_PAGES_H
#define TARN_COMPILER_LARGE_PAGES_H

#include <sys/mman.h>

#include <cstddef>
#include <new>

constexpr std::size_t kLargePage = 0x200000;

template <typename T>
struct LargePages {
    using value_type = T;

    LargePages() = default;
    template <typename Other>
    explicit LargePages(const LargePages<Other>& /*other*/) {}

    T* allocate(std::size_t count) {
        const std::size_t bytes = count * sizeof(T);
        if (bytes < kLargePage) {
            return static_cast<T*>(::operator new(bytes));
        }
        void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::bad_alloc();
        }
        static_cast<void>(madvise(memory, bytes, MADV_HUGEPAGE));  // small pages do as well
        return static_cast<T*>(memory);
    }
    void deallocate(T* memory, std::size_t count) {
        const std::size_t bytes = count * sizeof(T);
        if (bytes < kLargePage) {
            ::operator delete(memory);
        } else {
            // cppcheck-suppress doubleFree ; the list of functions says that munmap frees each of its arguments
            static_cast<void>(munmap(memory, bytes));
        }
    }
};

template <typename Left, typename Right>
bool operator==(const LargePages<Left>& /*left*/, const LargePages<Right>& /*right*/) {
    return true;
}
template <typename Left, typename Right>
bool operator!=(const LargePages<Left>& /*left*/, const LargePages<Right>& /*right*/) {
    return false;
}

#endif
