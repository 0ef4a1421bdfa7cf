#include "libtarnnames/RecordWords.h"

#include "libtarnmessage/MessageText.h"

namespace tarnnames {

namespace {

// A file whose records all differ must not fill the memory.
constexpr std::size_t kMostKnown = 4096;

}  // namespace

void RecordWordsCache::startFile(const std::string& fileName) {
    fileName_ = fileName;
    known_.clear();
    last_ = nullptr;
}

const RecordWords& RecordWordsCache::of(const kernelmsg::PolicyNodeRecord& node) {
    const Key key = keyOf(node);
    if (last_ != nullptr && last_->first == key) {
        return last_->second;
    }
    if (known_.size() >= kMostKnown) {
        known_.clear();
    }
    const auto [place, isNew] = known_.try_emplace(key);
    if (isNew) {
        RecordWords& words = place->second;
        words.nameSpaces = book_.namespaceNames(node.ext[1]);
        words.groups = groupsOf(book_.readings(fileName_, node.ext[1]));
        words.classes = book_.classes().classNames(node.permClass);
        words.permissions = book_.classes().permissionNames(node.permClass, node.perm);
    }
    last_ = &*place;
    return last_->second;
}

std::string oneOf(const std::vector<std::string>& names, const std::string& none) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : " or ") + (name.empty() ? "\"\"" : tarnmessage::escaped(name));
    }
    return names.empty() ? none : text;
}

}  // namespace tarnnames
