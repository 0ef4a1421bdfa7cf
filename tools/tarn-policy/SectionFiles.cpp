#include "SectionFiles.h"

#include <algorithm>

#include "Common/Common.h"
#include "CompiledSet.h"
#include "libtarnmessage/SetReader.h"
#include "libtarnpolicysync/Paths.h"

namespace {

// Takes a name apart, front to back. Each step is false where the name goes on in another way.
class NameCursor {
public:
    explicit NameCursor(std::string_view rest) : rest_(rest) {}

    bool text(std::string_view expected) {
        if (rest_.substr(0, expected.size()) != expected) {
            return false;
        }
        rest_.remove_prefix(expected.size());
        return true;
    }

    bool number() {
        const std::size_t length = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
        rest_.remove_prefix(length);
        return length != 0;
    }

    bool ended() const { return rest_.empty(); }

private:
    std::string_view rest_;
};

bool isNumberedFile(NameCursor cursor, const std::string& tag) {
    return cursor.number() && cursor.text(tag) && cursor.number() && cursor.ended();
}

// The records of a message are all of one namespace.
class NamespaceOfFile : public tarnmessage::MessageVisitor {
public:
    explicit NamespaceOfFile(std::uint32_t expected) : expected_(expected) {}
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        matches = matches && record.nameId() == expected_;
    }

    bool matches = true;

private:
    std::uint32_t expected_;
};

bool recordsAreOf(const std::string& path, std::uint32_t nameId) {
    std::string bytes;
    NamespaceOfFile visitor(nameId);
    return tarnmessage::readMessageFile(path, bytes) == 0 && !tarnmessage::parseMessage(bytes, {}, visitor) &&
           visitor.matches;
}

}  // namespace

bool canHaveName(const policydoc::RuleOrigin& origin, const std::string& name) {
    const std::string tag = paths::sectionTag(origin.names.nameSpace, origin.names.group);
    NameCursor cursor(name);
    if (!cursor.text(origin.key)) {
        return false;
    }
    NameCursor spread = cursor;
    for (NameCursor start : {cursor, spread.text(".") && spread.number() ? spread : cursor}) {
        NameCursor section = start;
        if ((start.text("_") && isNumberedFile(start, tag)) || (section.text(tag) && isNumberedFile(section, tag))) {
            return true;
        }
    }
    return false;
}

bool endsAsSectionFile(const policydoc::MessageGroup& section, const std::string& name) {
    const std::string tag = paths::sectionTag(section.nameSpace, section.group);
    const std::size_t last = name.rfind(tag);
    if (last == std::string::npos || last == 0) {
        return false;
    }
    const std::size_t before = name.find_last_not_of("0123456789", last - 1);
    return before != std::string::npos && name[before] == '_' &&
           isNumberedFile(NameCursor(std::string_view(name).substr(before + 1)), tag);
}

SectionFiles sectionFiles(const Preparation& prepared, const std::string& directory,
                          const std::map<std::string, std::uint32_t>& pinned) {
    const policydoc::MessageGroup& section = *prepared.section;
    SectionFiles files;
    files.tag = paths::sectionTag(section.nameSpace, section.group);
    const auto found = pinned.find(section.nameSpace);
    const std::uint32_t nameId = found == pinned.end() ? stringToId(section.nameSpace.c_str()) : found->second;
    for (const std::string& name : messagesInOrder(directory)) {
        if (paths::isFrameMessage(name) || name.find(files.tag) == std::string::npos) {
            continue;
        }
        const bool claimed = std::any_of(
            prepared.plan.others.begin(), prepared.plan.others.end(), [&](const policydoc::RuleOrigin& other) {
                return other.names.nameSpace == section.nameSpace && canHaveName(other, name);
            });
        const bool own =
            endsAsSectionFile(section, name) && !claimed && recordsAreOf(paths::inDirectory(directory, name), nameId);
        (own ? files.own : files.strangers).push_back(name);
    }
    std::sort(files.own.begin(), files.own.end());
    std::sort(files.strangers.begin(), files.strangers.end());
    return files;
}
