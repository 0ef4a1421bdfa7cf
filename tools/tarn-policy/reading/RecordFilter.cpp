#include "reading/RecordFilter.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "Failure.h"
#include "libtarnmessage/MessageText.h"

namespace {

std::optional<std::uint32_t> numberOf(const std::string& text) {
    const bool isHexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + (isHexadecimal ? 2 : 0), end, number, isHexadecimal ? 16 : 10);
    return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

Failure unknown(const char* kind, const std::string& name, const char* advice) {
    return Failure(ExitCode::kFailed, std::string("look up the ") + kind + " " + tarnmessage::escaped(name),
                   "nobody names it", advice);
}

bool isOneOf(const TARN_ID& identifier, const std::vector<TARN_ID>& wanted) {
    return std::any_of(wanted.begin(), wanted.end(),
                       [&](const TARN_ID& other) { return std::memcmp(&identifier, &other, sizeof identifier) == 0; });
}

}  // namespace

RecordFilter::RecordFilter(FilterTexts texts, const tarnnames::NameBook& book) : texts_(std::move(texts)), book_(book) {
    subjects_ = identifiersOf("subject", texts_.subject);
    objects_ = identifiersOf("object", texts_.object);
    findClasses();
    findPermissions();
}

std::vector<TARN_ID> RecordFilter::identifiersOf(const char* side, const std::string& text) const {
    if (text.empty()) {
        return {};
    }
    if (const std::optional<TARN_ID> identifier = tarnnames::identifierOf(text)) {
        return {*identifier};
    }
    std::vector<TARN_ID> identifiers = book_.identifiers().identifiers(text);
    if (identifiers.empty()) {
        throw unknown(side, text,
                      "give three words as in 0x1:0x2:0x3, or a label table that has the name (--labels FILE)");
    }
    return identifiers;
}

void RecordFilter::findClasses() {
    if (texts_.permClass.empty()) {
        return;
    }
    classes_ = book_.classes().classNumbers(texts_.permClass);
    if (classes_.empty()) {
        const std::optional<std::uint32_t> number = numberOf(texts_.permClass);
        if (!number) {
            throw unknown("class", texts_.permClass, "give its number, or the folder of class-def.conf (--etc DIR)");
        }
        classes_.push_back(*number);
    }
}

// A permission's name means another number in each class.
void RecordFilter::findPermissions() {
    if (texts_.perm.empty()) {
        return;
    }
    for (const tarnnames::PermissionClass& entry : book_.classes().all()) {
        const auto found = entry.permissions.find(texts_.perm);
        if (found != entry.permissions.end()) {
            perms_.emplace_back(entry.value, found->second);
        }
    }
    if (perms_.empty()) {
        const std::optional<std::uint32_t> number = numberOf(texts_.perm);
        if (!number) {
            throw unknown("permission", texts_.perm, "give its number, or the folder of class-def.conf (--etc DIR)");
        }
        perms_.emplace_back(std::nullopt, *number);
    }
}

bool RecordFilter::takesNamespace(std::uint32_t number) {
    if (!nameSpaces_) {
        nameSpaces_ = book_.namespaceNumbers(texts_.nameSpace);
        if (const std::optional<std::uint32_t> asNumber = numberOf(texts_.nameSpace)) {
            nameSpaces_->push_back(*asNumber);
        }
    }
    return std::find(nameSpaces_->begin(), nameSpaces_->end(), number) != nameSpaces_->end();
}

bool RecordFilter::takes(const kernelmsg::PolicyNodeRecord& node) {
    const auto hasPerm = [&](const ClassAndPerm& wanted) {
        return node.perm == wanted.second && node.permClass == wanted.first.value_or(node.permClass);
    };
    return (subjects_.empty() || isOneOf(node.subject, subjects_)) &&
           (objects_.empty() || isOneOf(node.object, objects_)) &&
           (classes_.empty() || std::find(classes_.begin(), classes_.end(), node.permClass) != classes_.end()) &&
           (perms_.empty() || std::any_of(perms_.begin(), perms_.end(), hasPerm)) &&
           (texts_.nameSpace.empty() || takesNamespace(node.ext[1]));
}

bool RecordFilter::takesGroup(const tarnnames::RecordWords& words) const {
    return !texts_.group || std::find(words.groups.begin(), words.groups.end(), *texts_.group) != words.groups.end();
}
