// Counts and refuses anonymous mappings of one size. Beside Interpose.h, because a sanitizer maps memory before it is
// ready to watch the code that stands between. Only programs that link tarn_test_allocations have this.
#ifndef TARN_TESTS_MAPPINGS_H
#define TARN_TESTS_MAPPINGS_H

#include <cstddef>

class Mappings {
public:
    // While it lives, the first `granted` mappings of `length` bytes are had and later ones fail with ENOMEM.
    Mappings(std::size_t length, long granted);
    ~Mappings();
    Mappings(const Mappings&) = delete;
    Mappings& operator=(const Mappings&) = delete;

    // Those of them that exist now, and the most that existed at a time.
    static long held();
    static long most();
};

#endif
