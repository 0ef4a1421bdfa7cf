#include "libtarnnames/RecordWords.h"

namespace tarnnames {

namespace {

std::size_t bytesOf(const RecordWords& words) {
    std::size_t bytes = 0;
    for (const std::vector<std::string>* names :
         {&words.nameSpaces, &words.groups, &words.classes, &words.permissions}) {
        for (const std::string& name : *names) {
            bytes += sizeof(std::string) + name.size();
        }
    }
    return bytes;
}

}  // namespace

void RecordWordsCache::startFile(const std::string& fileName) {
    fileName_ = fileName;
    clear();
}

void RecordWordsCache::clear() {
    known_.clear();
    last_ = nullptr;
    bytes_ = 0;
}

const RecordWords& RecordWordsCache::of(const kernelmsg::PolicyNodeRecord& node) {
    const Key key = keyOf(node);
    if (last_ != nullptr && last_->first == key) {
        return last_->second;
    }
    if (known_.size() >= kMostKnown || bytes_ >= kMostBytes) {
        clear();
    }
    const auto [place, isNew] = known_.try_emplace(key);
    if (isNew) {
        RecordWords& words = place->second;
        words.nameSpaces = book_.namespaceNames(node.ext[1]);
        words.groups = groupsOf(book_.readings(fileName_, node.ext[1]));
        words.classes = book_.classes().classNames(node.permClass);
        words.permissions = book_.classes().permissionNames(node.permClass, node.perm);
        bytes_ += bytesOf(words);
    }
    last_ = &*place;
    return last_->second;
}

}  // namespace tarnnames
