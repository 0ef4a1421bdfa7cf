// The permission classes of class-def.conf, by their numbers.
#ifndef TARN_NAMES_CLASSES_H
#define TARN_NAMES_CLASSES_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "libtarnnames/ProblemList.h"

namespace tarnnames {

struct PermissionClass {
    std::string name;
    std::uint32_t value = 0;
    std::map<std::string, std::uint32_t> permissions;
};

class Classes {
public:
    // Takes the text of class-def.conf. False, with the reason, where it is not one JSON object; classes that are no
    // objects, and numbers that are none, are problems and skipped.
    bool read(const std::string& text, ProblemList& problems);

    const std::vector<PermissionClass>& all() const { return classes_; }  // by name

    // The names of a class number, and of a permission's number in the classes of that number. Several where the file
    // gives one number to several names; none for a number it does not know.
    std::vector<std::string> classNames(std::uint32_t classNumber) const;
    std::vector<std::string> permissionNames(std::uint32_t classNumber, std::uint32_t permission) const;

    // The numbers of a name; a permission's numbers in all classes.
    std::vector<std::uint32_t> classNumbers(const std::string& name) const;

private:
    std::vector<PermissionClass> classes_;
};

}  // namespace tarnnames

#endif
