// What a name must not hold, by the place it goes to. Internal to this library.
#ifndef TARN_POLICYDOC_NAME_RULES_H
#define TARN_POLICYDOC_NAME_RULES_H

#include <cstdint>
#include <string>

#include "libtarnpolicydoc/Report.h"

namespace policydoc {

enum NameUse : unsigned int {
    kNameInPath = 1,       // becomes part of a file name: no "/", backslash, "./" or control character
    kNameInStateFile = 2,  // stands in a line of a state file: no ":", "#", "," or line feed
    kNameNotEmpty = 4,
    kNameBeginsFile = 8,  // begins a file name: no "." in front
};

// Reports everything that is wrong with one name; `what` says what it names ("the namespace").
void checkName(const std::string& name, unsigned int uses, const char* what, const Path& at, std::uint32_t line,
               const Reporter& report);

// Whether checkName would report nothing.
bool nameIsSound(const std::string& name, unsigned int uses);

}  // namespace policydoc

#endif
