#include "reading/SetCheck.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Common/Common.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnnames/RecordWords.h"
#include "libtarnpolicysync/Paths.h"

namespace {

using tarnmessage::escaped;

constexpr std::size_t kMostSeen = 4096;  // a file whose records all differ must not fill the memory
constexpr mode_t kFileMode = 0440;
constexpr mode_t kFolderMode = 0750;
constexpr mode_t kPermissionBits = 07777;

std::string octal(mode_t mode) {
    std::string text;
    for (unsigned int rest = mode & kPermissionBits; rest != 0; rest /= 8) {
        text.insert(text.begin(), static_cast<char>('0' + rest % 8));
    }
    return "0" + text;
}

// What stands before the number of a file in its series, and the number. False where the name has none that the compiler
// could have written.
bool splitSeries(const std::string& name, std::string& stem, unsigned long& number) {
    constexpr std::size_t kMostDigits = 9;
    const std::size_t mark = name.rfind('_');
    if (mark == std::string::npos) {
        return false;
    }
    const std::string digits = name.substr(mark + 1);
    if (digits.empty() || digits.size() > kMostDigits || digits.find_first_not_of("0123456789") != std::string::npos ||
        (digits[0] == '0' && digits.size() > 1)) {
        return false;
    }
    stem = name.substr(0, mark + 1);
    number = std::stoul(digits);
    return true;
}

// The kernel's answer to a message that comes out of order.
constexpr int kOutOfOrder = EPROTO;

constexpr char kStrangeVariable[] = "variable-namespace";

}  // namespace

void SetCheck::onFile(const std::string& name, std::string_view bytes) {
    words_ = tarnnames::FileNameWords(name);
    hasPlace_.clear();
    path_ = options_.folder + name;
    bytes_ += bytes.size();
    hasLast_ = false;
    seen_.clear();
}

void SetCheck::onHeader(const kernelmsg::MessageHeader& header) {
    policies_ += header.type == kernelmsg::kTypePolicy ? 1 : 0;
}

void SetCheck::onNamespace(const tarnmessage::NamespaceView& block) {
    const std::string name(block.name);
    const auto [before, isNew] = announced_.try_emplace(name, block.offset);
    if (!isNew) {
        notice("same-name", block.offset,
               "namespace " + tarnmessage::shownQuoted(name) + " was announced before, at offset " +
                   std::to_string(before->second),
               "one block");
    }
    checkNameNumber(block, name);
    checkPin(block, name);
    checkFunctions(block);
}

// Each further name is held against the first one alone: a message may hold very many.
void SetCheck::checkNameNumber(const tarnmessage::NamespaceView& block, const std::string& name) {
    const std::uint32_t number = block.node.nameId;
    const auto [first, isNew] = numbers_.try_emplace(number, FirstBlock{name, block.offset});
    if (!isNew) {
        if (first->second.name != name) {
            notice("same-number", block.offset,
                   "namespace " + tarnmessage::shownQuoted(name) + " has the number " + std::to_string(number) +
                       " of " + tarnmessage::shownQuoted(first->second.name) + ", announced at offset " +
                       std::to_string(first->second.offset),
                   "a number of its own");
        }
        return;
    }
    const std::vector<std::string> names = book_.namespaceNames(number);
    if (names.size() > 1) {
        notice("same-number", block.offset,
               "number " + std::to_string(number) + " belongs to " + tarnmessage::shownNames(names), "one name");
    }
}

void SetCheck::checkPin(const tarnmessage::NamespaceView& block, const std::string& name) {
    const auto pinned = book_.scenes().numbers().find(name);
    const bool isPinned = pinned != book_.scenes().numbers().end();
    const std::uint32_t expected = isPinned ? pinned->second : stringToId(name.c_str());
    if (block.node.nameId != expected) {
        notice("pinned-number", block.offset,
               "namespace " + tarnmessage::shownQuoted(name) + " has the number " + std::to_string(block.node.nameId),
               std::to_string(expected) + (isPinned ? ", as scene_info says" : ", its checksum"));
    }
}

void SetCheck::checkFunctions(const tarnmessage::NamespaceView& block) {
    std::set<std::string_view> names;
    tarnmessage::FunctionCursor functions = block.functions();
    for (tarnmessage::FunctionView function; functions.next(function);) {
        if (!names.insert(function.name).second) {
            notice("same-function", function.offset,
                   "function " + tarnmessage::shownQuoted(function.name) + " was announced before",
                   "one number for it");
        }
        const std::size_t colon = function.name.find(':');
        if (colon == 0 || colon == std::string_view::npos || colon + 1 == function.name.size()) {
            notice("function-name", function.offset, "function " + tarnmessage::shownQuoted(function.name),
                   "MODULE:FUNCTION");
        }
    }
}

void SetCheck::checkNumbers(const tarnmessage::PolicyRecordView& record, const Numbers& numbers) {
    const bool isFirst = !hasLast_;
    const bool isOtherNamespace = isFirst || std::get<0>(last_) != record.nameId();
    last_ = numbers;
    hasLast_ = true;
    if (isFirst) {
        firstNameId_ = record.nameId();
    }
    if (isOtherNamespace) {
        lastNames_ = names_.of(record.nameId());
    }
    if (seen_.size() >= kMostSeen) {
        seen_.clear();
    }
    if (seen_.insert(numbers).second) {
        if (isOtherNamespace) {
            checkNamespaceOf(record);
        }
        checkClassOf(record);
    }
}

void SetCheck::checkNamespaceOf(const tarnmessage::PolicyRecordView& record) {
    const std::uint32_t number = record.nameId();
    if (number != firstNameId_) {
        notice("mixed-namespaces", record.offset, "a record of namespace " + std::to_string(number),
               std::to_string(firstNameId_) + ", as in the first record");
    }
    if (!book_.paths().sceneInfo.empty() && lastNames_.empty()) {
        notice("unknown-namespace", record.offset, "namespace " + std::to_string(number) + " has no name",
               "one that is announced or stands in scene_info");
        return;
    }
    if (options_.isDirectory && !hasPlaceInFileName(number)) {
        notice("file-name", record.offset,
               "the file's name has no place for namespace " + std::to_string(number) + " (" +
                   (lastNames_.empty() ? "unknown" : tarnmessage::shownNames(lastNames_)) + ")",
               "KEY_SLICE_NAMESPACE_GROUP_INDEX");
    }
}

bool SetCheck::hasPlaceInFileName(std::uint32_t number) {
    if (hasPlace_.size() >= kMostSeen) {
        hasPlace_.clear();
    }
    const auto [place, isNew] = hasPlace_.try_emplace(number);
    if (isNew) {
        place->second = !book_.readings(words_, number).empty();
    }
    return place->second;
}

void SetCheck::checkClassOf(const tarnmessage::PolicyRecordView& record) {
    if (book_.classes().all().empty()) {
        return;
    }
    const std::uint32_t number = record.node.permClass;
    bool hasPermissions = false;
    bool isKnown = false;
    for (const tarnnames::PermissionClass& entry : book_.classes().all()) {
        isKnown = isKnown || entry.value == number;
        hasPermissions = hasPermissions || (entry.value == number && !entry.permissions.empty());
    }
    if (!isKnown) {
        notice("unknown-class", record.offset, "class " + std::to_string(number), "a class of class-def.conf");
    } else if (hasPermissions && book_.classes().permissionNames(number, record.node.perm).empty()) {
        notice("unknown-permission", record.offset,
               "permission " + std::to_string(record.node.perm) + " of class " + std::to_string(number) + " (" +
                   tarnmessage::shownNames(book_.classes().classNames(number)) + ")",
               "a permission of that class");
    }
}

// "net:usb_block" is one of the namespace "net". Names may hold ":" themselves. A namespace may have very many names, and a
// variable very many parts: what is less is tried.
bool SetCheck::isOfLastNamespace(std::string_view variable) const {
    const auto isOf = [&](std::string_view name) {
        return variable.size() > name.size() && variable[name.size()] == ':' && variable.substr(0, name.size()) == name;
    };
    if (lastNames_.size() <= static_cast<std::size_t>(std::count(variable.begin(), variable.end(), ':'))) {
        return std::any_of(lastNames_.begin(), lastNames_.end(), isOf);
    }
    std::size_t colon = variable.find(':');
    while (colon != std::string_view::npos && !book_.isNamespaceName(std::get<0>(last_), variable.substr(0, colon))) {
        colon = variable.find(':', colon + 1);
    }
    return colon != std::string_view::npos;
}

// A message may hold tens of thousands of such variables.
void SetCheck::checkVariables(const tarnmessage::PolicyRecordView& record) {
    if (lastNames_.empty()) {
        return;
    }
    tarnmessage::ExprCursor nodes = record.condition();
    for (tarnmessage::ExprView node; nodes.next(node);) {
        if (node.record.type != kernelmsg::kExprVariable) {
            continue;
        }
        const std::string_view variable = node.variable;
        if (!isOfLastNamespace(variable) && isTold(Weight::kNotice, kStrangeVariable)) {
            limit_.tell({Weight::kNotice, kStrangeVariable, path_, node.offset,
                         "dynamic variable " + tarnmessage::shownQuoted(variable),
                         "one of namespace " + tarnmessage::shownName(lastNames_.front()), 0});
        }
    }
}

void SetCheck::onFileEnd(const tarnmessage::FileReport& file) {
    path_ = options_.folder + file.name;
    hasNamespaceMessage_ = hasNamespaceMessage_ || file.name == paths::kNamespaceName;
    if (file.error != 0) {
        add({Weight::kUnreadable, "unreadable", path_, std::nullopt, file.problem, "a file that may be read", 0});
    } else if (file.finding) {
        const tarnmessage::FindingInfo& info = findingInfo(file.finding->code);
        add({Weight::kRefused, info.id, path_, file.finding->offset,
             std::string(info.text) + ": found " + numberText(*file.finding, file.finding->found),
             numberText(*file.finding, file.finding->expected), info.answer});
    } else if (!file.problem.empty()) {
        addProblem(file);
    }
    if (file.status.mode != 0) {
        checkMode(path_, file.status, kFileMode);
    }
    if (options_.isDirectory && file.sound() && file.header.type == kernelmsg::kTypePolicy) {
        checkSeries(file);
    }
}

// A file that is not what its name says. Without a begin message the kernel refuses the first policy; without an end
// message it takes everything and never puts the set into force. A frame message that is a link or a folder stops the
// sender before the kernel is asked.
void SetCheck::addProblem(const tarnmessage::FileReport& file) {
    if (file.status.mode != 0) {
        add({Weight::kRefused, "wrong-kind", path_, std::nullopt, file.problem, "a message of its kind in each file",
             kOutOfOrder});
    } else if (paths::isFrameMessage(file.name)) {
        const bool isRefused = file.missing && file.name == paths::kBeginName;
        add({Weight::kRefused, "no-message", path_, std::nullopt, file.problem, "a message under this name",
             isRefused ? kOutOfOrder : 0});
    } else {
        notice("symbolic-link", std::nullopt, file.problem, "a regular file");
    }
}

void SetCheck::checkSeries(const tarnmessage::FileReport& file) {
    std::string stem;
    unsigned long number = 0;
    if (!splitSeries(file.name, stem, number)) {
        return;  // the name's form is looked at with its records
    }
    if (number > 0 && !exists(stem + std::to_string(number - 1))) {
        notice("missing-before", std::nullopt, "its series has no file before this one",
               "the file " + escaped(stem) + std::to_string(number - 1));
    }
    if (file.header.recordCount != kernelmsg::kRecordsPerMessage && exists(stem + std::to_string(number + 1))) {
        notice("short-message", offsetof(kernelmsg::MessageHeader, recordCount),
               std::to_string(file.header.recordCount) + " records, though the series goes on",
               std::to_string(kernelmsg::kRecordsPerMessage) + " records in all files of a series but the last");
    }
}

bool SetCheck::exists(const std::string& name) const {
    struct stat status {};
    return lstat((options_.folder + name).c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

void SetCheck::onPassedOver(const std::string& name, tarnmessage::PassedOver why) {
    path_ = options_.folder + name;
    if (why == tarnmessage::PassedOver::kHidden) {
        notice("hidden-file", std::nullopt, "the sender passes over names with a leading dot", "messages alone");
    } else if (why == tarnmessage::PassedOver::kLink) {
        notice("symbolic-link", std::nullopt, tarnmessage::kLinkProblem, "a regular file");
    } else {
        notice("not-a-file", std::nullopt, "the sender passes over whatever is no regular file", "messages alone");
    }
}

void SetCheck::checkMode(const std::string& path, const tarnmessage::FileStatus& status, mode_t most) {
    if (!options_.looksAtModes) {
        return;
    }
    path_ = path;
    if ((status.mode & kPermissionBits & ~most) != 0) {
        notice("mode", std::nullopt, "mode " + octal(status.mode), octal(most) + " or less");
    }
    if (status.owner != 0) {
        notice("owner", std::nullopt, "belongs to user " + std::to_string(status.owner), "root");
    }
}

void SetCheck::checkSceneNumbers() {
    std::map<std::uint32_t, std::string> names;
    path_ = book_.paths().sceneInfo;
    for (const auto& [name, number] : book_.scenes().numbers()) {
        const auto [place, isNew] = names.try_emplace(number, name);
        if (!isNew) {
            notice("same-number", std::nullopt,
                   "number " + std::to_string(number) + " belongs to " +
                       tarnmessage::shownNames(std::vector{place->second, name}),
                   "one name");
        }
    }
}

void SetCheck::finish() {
    checkSceneNumbers();
    if (!options_.isDirectory) {
        return;
    }
    struct stat status {};
    path_ = options_.folder;
    if (stat(path_.c_str(), &status) == 0) {
        checkMode(path_, {status.st_mode, status.st_uid, status.st_gid, 0}, kFolderMode);
    }
    if (!hasNamespaceMessage_) {
        notice("no-namespace-message", std::nullopt, "there is no namespace message", "the file namemsg");
    }
    if (policies_ == 0) {
        notice("no-policies", std::nullopt, "there is no policy message", "at least one");
    }
}

bool SetCheck::isTold(Weight weight, const char* code) {
    refused_ += weight == Weight::kRefused ? 1 : 0;
    unreadable_ += weight == Weight::kUnreadable ? 1 : 0;
    notices_ += weight == Weight::kNotice ? 1 : 0;
    if (pathOfLast_ != path_) {
        limit_.release();
        pathOfLast_ = path_;
    }
    return limit_.takes(weight, path_, code);
}

void SetCheck::add(SetFinding finding) {
    if (isTold(finding.weight, finding.code.c_str())) {
        limit_.tell(finding);
    }
}

void SetCheck::notice(const char* code, std::optional<std::size_t> offset, std::string text, std::string expected) {
    add({Weight::kNotice, code, path_, offset, std::move(text), std::move(expected), 0});
}
