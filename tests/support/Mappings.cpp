#include "support/Mappings.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/types.h>

#include <cerrno>

namespace {

// Memory is mapped before any constructor of this program has run, and in several threads. Built-in operations instead
// of std::atomic: its functions might be shared with code that a sanitizer watches.
std::size_t g_length = 0;
long g_granted = 0;
long g_held = 0;
long g_most = 0;

template <typename Number>
Number load(const Number& number) {
    return __atomic_load_n(&number, __ATOMIC_SEQ_CST);
}

template <typename Number>
void store(Number& number, Number value) {
    __atomic_store_n(&number, value, __ATOMIC_SEQ_CST);
}

bool isWatched(std::size_t length) {
    return length != 0 && length == load(g_length);
}

// Whether one more may be had; it then counts.
bool grant() {
    if (__atomic_fetch_sub(&g_granted, 1, __ATOMIC_SEQ_CST) <= 0) {
        return false;
    }
    const long held = __atomic_add_fetch(&g_held, 1, __ATOMIC_SEQ_CST);
    long most = load(g_most);
    while (held > most &&
           !__atomic_compare_exchange_n(&g_most, &most, held, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST)) {
    }
    return true;
}

}  // namespace

Mappings::Mappings(std::size_t length, long granted) {
    store(g_granted, granted);
    store(g_held, 0L);
    store(g_most, 0L);
    store(g_length, length);
}

Mappings::~Mappings() {
    store(g_length, std::size_t{0});
}

long Mappings::held() {
    return load(g_held);
}

long Mappings::most() {
    return load(g_most);
}

extern "C" __attribute__((visibility("default"))) void* mmap(void* address, std::size_t length, int protection,
                                                             int flags, int fd, off_t offset) noexcept {
    if (fd == -1 && isWatched(length) && !grant()) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    using Function = void* (*)(void*, std::size_t, int, int, int, off_t);
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "mmap"))(address, length, protection, flags, fd, offset);
}

extern "C" __attribute__((visibility("default"))) int munmap(void* address, std::size_t length) noexcept {
    if (isWatched(length)) {
        __atomic_fetch_sub(&g_held, 1, __ATOMIC_SEQ_CST);
    }
    using Function = int (*)(void*, std::size_t);
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "munmap"))(address, length);
}
