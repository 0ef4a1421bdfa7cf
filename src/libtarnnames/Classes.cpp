#include "libtarnnames/Classes.h"

#include <json/reader.h>

#include <algorithm>
#include <exception>
#include <optional>

#include "libtarnmessage/MessageText.h"

namespace tarnnames {

namespace {

using tarnmessage::shownQuoted;

std::optional<Json::Value> parse(const std::string& text, std::string& why) {
    // The old reader and not its successor: the library takes what this one takes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    Json::Value document;
    try {
        if (!reader.parse(text, document, false)) {
            why = reader.getFormattedErrorMessages();
        } else if (!document.isObject()) {
            why = "the document is no object";
        }
    } catch (const std::exception& error) {  // nested too deeply
        why = error.what();
    }
    return why.empty() ? std::optional(document) : std::nullopt;
}

void readClass(const std::string& name, const Json::Value& value, PermissionClass& entry, ProblemList& problems) {
    entry.name = name;
    if (const Json::Value& number = value["value"]; number.isUInt()) {
        entry.value = number.asUInt();
    } else if (!number.isNull()) {
        problems.add("the value of class " + shownQuoted(name) + " is no 32-bit number");
    }
    const Json::Value& permissions = value["perms"];
    if (!permissions.isNull() && !permissions.isObject()) {
        problems.add("\"perms\" of class " + shownQuoted(name) + " is no object");
        return;
    }
    for (const std::string& permission : permissions.getMemberNames()) {
        if (permissions[permission].isUInt()) {
            entry.permissions[permission] = permissions[permission].asUInt();
        } else {
            problems.add("permission " + shownQuoted(permission) + " of class " + shownQuoted(name) +
                         " is no 32-bit number");
        }
    }
}

}  // namespace

bool Classes::read(const std::string& text, ProblemList& problems) {
    std::string why;
    const std::optional<Json::Value> document = parse(text, why);
    if (!document) {
        problems.add("the class definitions are unsound: " + why);
        return false;
    }
    for (const std::string& name : document->getMemberNames()) {
        const Json::Value& value = (*document)[name];
        if (value.isObject()) {
            readClass(name, value, classes_.emplace_back(), problems);
        } else {
            problems.add("class " + shownQuoted(name) + " is no object");
        }
    }
    return true;
}

std::vector<std::string> Classes::classNames(std::uint32_t classNumber) const {
    std::vector<std::string> names;
    for (const PermissionClass& entry : classes_) {
        if (entry.value == classNumber) {
            names.push_back(entry.name);
        }
    }
    return names;
}

std::vector<std::string> Classes::permissionNames(std::uint32_t classNumber, std::uint32_t permission) const {
    std::vector<std::string> names;
    for (const PermissionClass& entry : classes_) {
        if (entry.value != classNumber) {
            continue;
        }
        for (const auto& [name, number] : entry.permissions) {
            if (number == permission && std::find(names.begin(), names.end(), name) == names.end()) {
                names.push_back(name);
            }
        }
    }
    return names;
}

std::vector<std::uint32_t> Classes::classNumbers(const std::string& name) const {
    std::vector<std::uint32_t> numbers;
    for (const PermissionClass& entry : classes_) {
        if (entry.name == name) {
            numbers.push_back(entry.value);
        }
    }
    return numbers;
}

}  // namespace tarnnames
