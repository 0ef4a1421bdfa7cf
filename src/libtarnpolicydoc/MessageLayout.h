// How the library cuts the rules of a key into messages. Internal to this library.
#ifndef TARN_POLICYDOC_MESSAGE_LAYOUT_H
#define TARN_POLICYDOC_MESSAGE_LAYOUT_H

#include "libtarnpolicydoc/Plan.h"

namespace policydoc {

// A message that outgrows the kernel's bound; the compiler stops there.
struct Overflow {
    std::uint32_t rule = 0;        // index into Plan::rules: the rule whose record no longer fits
    std::uint64_t bytes = 0;       // of the message with that rule's records, as far as they belong to it
    std::uint64_t groupBytes = 0;  // of all records of the key, namespace and group
};

// The first overflow of each key, namespace and group.
std::vector<Overflow> overflows(const Plan& plan, unsigned int threads);

}  // namespace policydoc

#endif
