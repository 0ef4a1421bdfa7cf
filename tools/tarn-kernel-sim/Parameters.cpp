#include "Parameters.h"

#include <cerrno>

namespace sim {

namespace {

constexpr std::size_t kLongestName = 255;  // of a directory entry

bool isEntryName(const std::string& name) {
    return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

template <typename Map, typename Key>
std::size_t indexOf(const Map& map, const Key& key) {
    const auto found = map.find(key);
    return found == map.end() ? Parameters::kNone : found->second;
}

}  // namespace

bool Parameters::add(const std::string& nameSpace, const std::string& variable) {
    if (!isEntryName(nameSpace) || !isEntryName(variable)) {
        return false;
    }
    const auto [place, isNew] = namespaceIndex_.try_emplace(nameSpace, namespaces_.size());
    if (isNew) {
        namespaces_.push_back(nameSpace);
    }
    if (index_.try_emplace({place->second, variable}, all_.size()).second) {
        all_.push_back({place->second, variable, '0'});
    }
    return true;
}

bool Parameters::addPath(std::string_view path) {
    const std::size_t slash = path.find('/');
    return slash != std::string_view::npos &&
           add(std::string(path.substr(0, slash)), std::string(path.substr(slash + 1)));
}

int Parameters::set(std::size_t index, std::string_view text) {
    if (text != "0" && text != "1") {
        return EINVAL;
    }
    all_[index].value = text[0];
    return 0;
}

std::size_t Parameters::findNamespace(const std::string& name) const {
    return indexOf(namespaceIndex_, name);
}

std::size_t Parameters::find(std::size_t nameSpace, const std::string& variable) const {
    return indexOf(index_, std::pair(nameSpace, variable));
}

}  // namespace sim
