#include "libtarnpolicydoc/Rules.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

#include "libtarnpolicydoc/JsonTree.h"
#include "libtarnpolicydoc/Report.h"
#include "libtarnpolicydoc/RuleReader.h"
#include "libtarnpolicydoc/SourceFiles.h"

namespace policydoc {

namespace {

enum class Walk { kGoOn, kEnded, kFailed };

// Walks over the rules of one group, or of all of them.
class RuleWalk {
public:
    RuleWalk(const PolicyDocument& document, bool reportRules, Diagnostics& diagnostics, const RuleVisitor& visit)
        : document_(document),
          ruleReports_(reportRules ? &diagnostics : nullptr),
          diagnostics_(diagnostics),
          visit_(visit) {}

    Walk document(const std::map<std::string, std::uint32_t>& groups);
    Walk ruleFiles(std::uint32_t group);

private:
    Walk lines(std::uint32_t group, std::uint32_t file, std::uint32_t firstIndex, std::uint32_t& count);
    bool visitInline(std::uint32_t group, std::uint32_t index, const JsonNode& json);
    bool deliver(LocatedRule located, const JsonNode& json, const Path& at, const Reporter& report);

    const PolicyDocument& document_;
    Diagnostics* ruleReports_;
    Diagnostics& diagnostics_;
    const RuleVisitor& visit_;
    std::uint64_t bytesRead_ = 0;
};

bool RuleWalk::deliver(LocatedRule located, const JsonNode& json, const Path& at, const Reporter& report) {
    located.rule = readRule(json, at, report);
    located.json = &json;
    located.bytesRead = bytesRead_;
    return visit_(located);
}

bool RuleWalk::visitInline(std::uint32_t group, std::uint32_t index, const JsonNode& json) {
    const Reporter report(ruleReports_, document_.files.front().name);
    const Path root;
    const Path groups(root, "groups");
    const Path key(groups, document_.groups[group].key);
    const Path rules(key, "rules");
    LocatedRule located;
    located.group = group;
    located.indexInGroup = index;
    located.indexInSource = index;
    located.place = Place{0, json.line};
    return deliver(std::move(located), json, Path(rules, index), report);
}

Walk RuleWalk::document(const std::map<std::string, std::uint32_t>& groups) {
    const Reporter report(&diagnostics_, document_.files.front().name);
    const UniqueFd fd = reopenSource(document_.files.front(), report);
    if (!fd.valid()) {
        return Walk::kFailed;
    }
    const RuleSink sink = [this, &groups, &fd](const std::string& key, std::uint32_t index, const JsonNode& json) {
        constexpr std::uint32_t kStep = 1024;
        if (index % kStep == 0) {
            bytesRead_ = static_cast<std::uint64_t>(std::max<off_t>(lseek(fd.get(), 0, SEEK_CUR), 0));
        }
        const auto group = groups.find(key);
        return group == groups.end() || visitInline(group->second, index, json);
    };
    JsonNode root;
    JsonError error;
    const ParseResult result = parseDocument(fd.get(), sink, root, error);
    bytesRead_ = document_.files.front().size;
    switch (result) {
        case ParseResult::kComplete:
            return Walk::kGoOn;
        case ParseResult::kStopped:
            return Walk::kEnded;
        default:
            report.broken(Path(), error);
            return Walk::kFailed;
    }
}

// A line buffer as getline() wants it.
struct LineBuffer {
    ~LineBuffer() { std::free(text); }
    char* text = nullptr;
    std::size_t size = 0;
};

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

Walk RuleWalk::lines(std::uint32_t group, std::uint32_t file, std::uint32_t firstIndex, std::uint32_t& count) {
    const Reporter fileReport(&diagnostics_, document_.files[file].name);
    const Reporter report(ruleReports_, document_.files[file].name);
    UniqueFd fd = reopenSource(document_.files[file], fileReport);
    if (!fd.valid()) {
        return Walk::kFailed;
    }
    const UniqueFile stream(fdopen(fd.get(), "r"));
    if (!stream) {
        fileReport.mistake(Path(), 0, {"file", std::string("can't be read: ") + std::strerror(errno), "", "try again"});
        return Walk::kFailed;
    }
    static_cast<void>(fd.release());  // the stream closes it now
    LineBuffer buffer;
    ssize_t length = 0;
    errno = 0;
    for (std::uint32_t line = 1; (length = getline(&buffer.text, &buffer.size, stream.get())) >= 0; ++line) {
        std::string_view text(buffer.text, static_cast<std::size_t>(length));
        bytesRead_ += text.size();
        if (!text.empty() && text.back() == '\n') {
            text.remove_suffix(1);  // an error at the end of the line stands in this line, not in the next
        }
        if (isBlank(text)) {
            continue;
        }
        JsonNode json;
        JsonError error;
        LocatedRule located;
        located.group = group;
        located.indexInSource = count++;
        located.indexInGroup = firstIndex + located.indexInSource;
        located.place = Place{file, line};
        if (parseLine(text, line, json, error) != ParseResult::kComplete) {
            report.broken(Path(), error);
        } else if (!deliver(std::move(located), json, Path(), report)) {
            return Walk::kEnded;
        }
    }
    if (std::ferror(stream.get()) != 0) {
        fileReport.mistake(Path(), 0, {"file", std::string("can't be read: ") + std::strerror(errno), "", "try again"});
        return Walk::kFailed;
    }
    return Walk::kGoOn;
}

Walk RuleWalk::ruleFiles(std::uint32_t group) {
    const RuleGroup& entry = document_.groups[group];
    auto index = static_cast<std::uint32_t>(entry.inlineRules);
    for (const std::uint32_t file : entry.ruleFiles) {
        std::uint32_t count = 0;
        const Walk walk = lines(group, file, index, count);
        if (walk != Walk::kGoOn) {
            return walk;
        }
        index += count;
    }
    return Walk::kGoOn;
}

Walk walk(const PolicyDocument& document, std::uint32_t first, std::uint32_t end, RuleWalk& rules) {
    std::map<std::string, std::uint32_t> withInlineRules;
    for (std::uint32_t group = first; group < end; ++group) {
        if (document.groups[group].inlineRules != 0) {
            withInlineRules.emplace(document.groups[group].key, group);
        }
    }
    Walk result = withInlineRules.empty() ? Walk::kGoOn : rules.document(withInlineRules);
    for (std::uint32_t group = first; group < end && result == Walk::kGoOn; ++group) {
        result = rules.ruleFiles(group);
    }
    return result;
}

}  // namespace

bool forEachRule(const PolicyDocument& document, bool reportRules, Diagnostics& diagnostics, const RuleVisitor& visit) {
    RuleWalk rules(document, reportRules, diagnostics, visit);
    return walk(document, 0, static_cast<std::uint32_t>(document.groups.size()), rules) != Walk::kFailed;
}

bool forEachRuleOf(const PolicyDocument& document, std::uint32_t group, bool reportRules, Diagnostics& diagnostics,
                   const RuleVisitor& visit) {
    RuleWalk rules(document, reportRules, diagnostics, visit);
    return walk(document, group, group + 1, rules) != Walk::kFailed;
}

std::string rulePointer(const RuleGroup& group, Place place, std::uint32_t indexInSource) {
    if (place.file != 0) {
        return "";
    }
    return "/groups/" + pointerStep(group.key) + "/rules/" + std::to_string(indexInSource);
}

}  // namespace policydoc
