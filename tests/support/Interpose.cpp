#include "support/Interpose.h"

namespace interpose {

bool& insideReplacement() {
    thread_local bool inside = false;
    return inside;
}

// Names that are declared take no parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses,clang-diagnostic-reserved-identifier)

// Constant initialisation: the functions are called before any constructor of this program has run.
#define TARN_DEFINE_SLOT(name, result, parameters, arguments) Slot<result parameters> name(#name);
TARN_INTERPOSED_FUNCTIONS(TARN_DEFINE_SLOT)
#undef TARN_DEFINE_SLOT

}  // namespace interpose

// The symbol names are given as labels, so that the headers' own declarations (their noexcept, the checked variants of
// fortified builds, the ellipsis of open) don't matter. A caller that passes fewer arguments than the three or four of
// open and openat leaves garbage in a register that nobody reads.
#define TARN_DEFINE_FUNCTION(name, result, parameters, arguments)                                             \
    extern "C" __attribute__((visibility("default"))) result tarnInterposed_##name parameters __asm__(#name); \
    extern "C" result tarnInterposed_##name parameters {                                                      \
        return interpose::name.call arguments;                                                                \
    }
TARN_INTERPOSED_FUNCTIONS(TARN_DEFINE_FUNCTION)

// The names under which a build with 64-bit offsets or checked buffers calls the same functions.
#define TARN_DEFINE_ALIAS(alias, name, result, parameters, arguments)                                           \
    extern "C" __attribute__((visibility("default"))) result tarnInterposed_##alias parameters __asm__(#alias); \
    extern "C" result tarnInterposed_##alias parameters {                                                       \
        return interpose::name.call arguments;                                                                  \
    }
TARN_DEFINE_ALIAS(open64, open, int, (const char* path, int flags, mode_t mode), (path, flags, mode))
TARN_DEFINE_ALIAS(__open_2, open, int, (const char* path, int flags), (path, flags, 0))
TARN_DEFINE_ALIAS(openat64, openat, int, (int fd, const char* path, int flags, mode_t mode), (fd, path, flags, mode))
TARN_DEFINE_ALIAS(__openat_2, openat, int, (int fd, const char* path, int flags), (fd, path, flags, 0))
TARN_DEFINE_ALIAS(__read_chk, read, ssize_t, (int fd, void* data, std::size_t count, std::size_t), (fd, data, count))
TARN_DEFINE_ALIAS(__realpath_chk, realpath, char*, (const char* path, char* resolved, std::size_t), (path, resolved))
TARN_DEFINE_ALIAS(__getdelim, getdelim, ssize_t, (char** line, std::size_t* size, int delimiter, FILE* stream),
                  (line, size, delimiter, stream))

// NOLINTEND(bugprone-macro-parentheses,clang-diagnostic-reserved-identifier)
