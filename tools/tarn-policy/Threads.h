// The number of compiler threads that the library takes from its configuration. Slices, and with them the names of the
// message files, follow from it, so that a plan has to know it.
#ifndef TARN_POLICY_THREADS_H
#define TARN_POLICY_THREADS_H

#include <string>
#include <vector>

// By the rules of the library: lines of "/etc/tarn/tarn-policy.conf" in order, the processor count as the bound, half
// of the processors (1 to 8) where nothing valid is given.
unsigned int threadsFromConfiguration(const std::vector<std::string>& lines, unsigned int processors);

// The same for this machine. Neither writes nor logs.
unsigned int libraryThreads();

#endif
