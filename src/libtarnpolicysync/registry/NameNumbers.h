// How a namespace gets its number; shared by the look-up and by the namespace message.
#ifndef TARN_REGISTRY_NAME_NUMBERS_H
#define TARN_REGISTRY_NAME_NUMBERS_H

#include <string>
#include <unordered_map>

#include "Common/Common.h"

// The number of a name: the one it has, else its checksum, which it then keeps. The caller holds the table's mutex.
inline unsigned int numberOfName(std::unordered_map<std::string, unsigned int>& numbers, const std::string& name) {
    const auto found = numbers.find(name);
    return found != numbers.end() ? found->second : numbers.emplace(name, stringToId(name.c_str())).first->second;
}

#endif
