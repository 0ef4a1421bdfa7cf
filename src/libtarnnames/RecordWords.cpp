#include "libtarnnames/RecordWords.h"

namespace tarnnames {

namespace {

std::size_t bytesOf(const std::vector<std::string>& names) {
    std::size_t bytes = 0;
    for (const std::string& name : names) {
        bytes += sizeof(std::string) + name.size();
    }
    return bytes;
}

}  // namespace

void RecordWordsCache::startFile(const std::string& fileName) {
    fileName_ = FileNameWords(fileName);
    clear();
}

void RecordWordsCache::clear() {
    known_.clear();
    groups_.clear();
    last_ = nullptr;
    bytes_ = 0;
}

const std::vector<std::string>& RecordWordsCache::groupsOf(std::uint32_t nameId) {
    const auto [place, isNew] = groups_.try_emplace(nameId);
    if (isNew) {
        place->second = tarnnames::groupsOf(book_.readings(fileName_, nameId));
        bytes_ += bytesOf(place->second);
        ++readings_;
    }
    return place->second;
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
        words.nameSpaces = nameSpaces_.of(node.ext[1]);
        words.groups = groupsOf(node.ext[1]);
        words.classes = book_.classes().classNames(node.permClass);
        words.permissions = book_.classes().permissionNames(node.permClass, node.perm);
        bytes_ += bytesOf(words.groups) + bytesOf(words.classes) + bytesOf(words.permissions);
    }
    last_ = &*place;
    return last_->second;
}

}  // namespace tarnnames
