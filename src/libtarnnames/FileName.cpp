#include "libtarnnames/FileName.h"

#include <algorithm>
#include <iterator>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"

namespace tarnnames {

namespace {

// Numbers in file names have no leading zeros.
bool isNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos &&
           (text[0] != '0' || text.size() == 1);
}

// Cuts the number behind the last "_" off. Empty where there is none.
std::string cutNumber(std::string& text) {
    const std::size_t mark = text.rfind('_');
    std::string number = mark == std::string::npos ? "" : text.substr(mark + 1);
    if (!isNumber(number)) {
        return "";
    }
    text.resize(mark);
    return number;
}

void readAt(const std::string& stem, std::size_t place, const std::string& nameSpace, const std::string& index,
            std::vector<FileNameReading>& readings) {
    FileNameReading reading;
    reading.key = stem.substr(0, place);
    reading.slice = cutNumber(reading.key);
    if (!reading.slice.empty()) {
        reading.nameSpace = nameSpace;
        reading.group = stem.substr(place + nameSpace.size() + 2);  // the two "_" around it
        reading.index = index;
        readings.push_back(reading);
    }
}

}  // namespace

std::vector<FileNameReading> readFileName(const std::string& fileName, const std::vector<std::string>& nameSpaces) {
    std::vector<FileNameReading> readings;
    std::string stem = fileName;
    const std::string index = cutNumber(stem);
    if (index.empty()) {
        return readings;
    }
    for (const std::string& nameSpace : nameSpaces) {
        const std::string mark = "_" + nameSpace + "_";
        for (std::size_t place = stem.find(mark); place != std::string::npos; place = stem.find(mark, place + 1)) {
            readAt(stem, place, nameSpace, index, readings);
        }
    }
    std::stable_sort(readings.begin(), readings.end(), [](const FileNameReading& left, const FileNameReading& right) {
        return left.key.size() < right.key.size();
    });
    return readings;
}

const std::set<std::string>& FileNameWords::all() {
    if (isCut_) {
        return words_;
    }
    isCut_ = true;
    for (std::size_t begin = fileName_.find('_'); begin != std::string::npos; begin = fileName_.find('_', begin + 1)) {
        for (std::size_t end = fileName_.find('_', begin + 1); end != std::string::npos;
             end = fileName_.find('_', end + 1)) {
            const auto [word, isNew] = words_.insert(fileName_.substr(begin + 1, end - begin - 1));
            if (isNew && !word->empty()) {
                byChecksum_.emplace(stringToId(word->c_str()), *word);
            }
        }
    }
    return words_;
}

std::vector<std::string> FileNameWords::withChecksum(std::uint32_t number) {
    static_cast<void>(all());
    std::vector<std::string> found;
    const auto [begin, end] = byChecksum_.equal_range(number);
    std::transform(begin, end, std::back_inserter(found), [](const auto& entry) { return entry.second; });
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::string> groupsOf(const std::vector<FileNameReading>& readings) {
    std::vector<std::string> groups;
    for (const FileNameReading& reading : readings) {
        if (std::find(groups.begin(), groups.end(), reading.group) == groups.end()) {
            groups.push_back(reading.group);
        }
    }
    return groups;
}

}  // namespace tarnnames
