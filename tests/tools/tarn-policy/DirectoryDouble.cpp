// Shows every directory as a file system without entry types does. Which of the two names a program calls depends on the
// size of its offsets.
#include <dirent.h>
#include <dlfcn.h>

namespace {

template <typename Entry>
Entry* withoutType(DIR* stream, const char* name) {
    const auto real = reinterpret_cast<Entry* (*)(DIR*)>(dlsym(RTLD_NEXT, name));
    Entry* const entry = real(stream);
    if (entry != nullptr) {
        entry->d_type = DT_UNKNOWN;
    }
    return entry;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) dirent* readdir(DIR* stream) {
    return withoutType<dirent>(stream, "readdir");
}

extern "C" __attribute__((visibility("default"))) dirent64* readdir64(DIR* stream) {
    return withoutType<dirent64>(stream, "readdir64");
}
