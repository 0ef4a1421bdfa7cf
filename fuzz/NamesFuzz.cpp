// Any bytes as the files that give names: the readers must answer, and what they take must hold together. The first line is
// also a file name.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "libtarnnames/Classes.h"
#include "libtarnnames/FileName.h"
#include "libtarnnames/Identifiers.h"
#include "libtarnnames/JsonText.h"
#include "libtarnnames/SideFiles.h"

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void readSideFiles(const std::string& text) {
    tarnnames::ProblemList problems;
    tarnnames::SceneInfo scenes;
    scenes.add(text, problems);
    for (const auto& [name, number] : scenes.numbers()) {
        require(!name.empty() && !scenes.names(number).empty());
    }
    tarnnames::FuncInfo functions;
    functions.add(text, problems);
    for (const auto& [name, list] : functions.functions()) {
        require(!name.empty() && !list.empty());
    }
    tarnnames::Classes classes;
    const bool isRead = classes.read(text, problems);
    require(isRead || !problems.texts().empty());
    for (const tarnnames::PermissionClass& entry : classes.all()) {
        require(!classes.classNames(entry.value).empty());
    }
}

// The pieces of each reading give the name again.
void readName(const std::string& name) {
    for (const std::string& nameSpace : {std::string("net"), std::string("a_b"), std::string()}) {
        for (const tarnnames::FileNameReading& reading : tarnnames::readFileName(name, {nameSpace})) {
            require(name == reading.key + "_" + reading.slice + "_" + reading.nameSpace + "_" + reading.group + "_" +
                                reading.index);
        }
    }
    static_cast<void>(tarnnames::identifierOf(name));
    std::string json;
    tarnnames::appendJsonBytes(json, "name", name);
    require(tarnnames::isUtf8(json) && json.find('\n') == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    readSideFiles(text);
    constexpr std::size_t kLongestName = 255;
    readName(text.substr(0, std::min(text.find('\n'), kLongestName)));
    return 0;
}
