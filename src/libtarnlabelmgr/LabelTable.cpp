#include "libtarnlabelmgr/LabelTable.h"

#include <fcntl.h>
#include <json/json.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "Common/Handles.h"

namespace labeltable {

namespace {

constexpr char kFormat[] = "tarn-labels";
constexpr unsigned int kVersion = 1;

class Malformed : public std::runtime_error {
public:
    Malformed(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

// A value with its place, which is spelled out only when something is wrong with it.
class Node {
public:
    Node(const std::string& text, const Json::Value& value, const Node* parent, std::string step)
        : text_(text), value_(value), parent_(parent), step_(std::move(step)) {}

    const Json::Value& value() const { return value_; }
    Node child(const std::string& name) const { return {text_, value_[name], this, name}; }
    Node child(Json::ArrayIndex index) const { return {text_, value_[index], this, std::to_string(index)}; }

    [[noreturn]] void refuse(const std::string& expected, int status = kBadContent) const {
        throw Malformed(
            status, "line " + std::to_string(line()) + ", " + (parent_ ? pointer() : "the whole") + ": " + expected);
    }

private:
    std::size_t line() const {
        const auto end = std::min(static_cast<std::size_t>(value_.getOffsetStart()), text_.size());
        return 1 + static_cast<std::size_t>(
                       std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(end), '\n'));
    }

    // JSON pointer: "~" and "/" inside a name are written ~0 and ~1.
    std::string pointer() const {
        if (parent_ == nullptr) {
            return {};
        }
        std::string escaped;
        for (const char c : step_) {
            escaped += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
        }
        return parent_->pointer() + "/" + escaped;
    }

    const std::string& text_;
    const Json::Value& value_;
    const Node* parent_;
    std::string step_;
};

bool parseWordText(const std::string& text, std::uint64_t& word) {
    const bool hex = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
    const char* first = text.data() + (hex ? 2 : 0);
    const char* last = text.data() + text.size();
    const auto [end, error] = std::from_chars(first, last, word, hex ? 16 : 10);
    return error == std::errc() && end == last;
}

std::uint64_t parseWord(const Node& node) {
    const Json::Value& value = node.value();
    std::uint64_t word = 0;
    if (value.type() == Json::intValue || value.type() == Json::uintValue) {
        if (value.isUInt64()) {
            return value.asUInt64();
        }
    } else if (value.isString() && parseWordText(value.asString(), word)) {
        return word;
    }
    node.refuse("expected an unsigned 64-bit number, or a text such as \"18446744073709551615\" or \"0x1f\"");
}

TARN_ID parseIdentifier(const Node& node) {
    TARN_ID id{};
    constexpr Json::ArrayIndex kWords = sizeof id.uiWord / sizeof id.uiWord[0];
    if (!node.value().isArray() || node.value().size() != kWords) {
        node.refuse("expected an identifier, an array of three numbers");
    }
    for (Json::ArrayIndex i = 0; i < kWords; ++i) {
        id.uiWord[i] = parseWord(node.child(i));
    }
    return id;
}

void requireObject(const Node& node, const char* expected) {
    if (!node.value().isObject()) {
        node.refuse(expected);
    }
}

Labels parseLabels(const Node& node) {
    requireObject(node, "expected an object of names, each with an array of identifiers");
    Labels labels;
    labels.reserve(node.value().size());
    for (const std::string& name : node.value().getMemberNames()) {
        const Node list = node.child(name);
        if (!list.value().isArray()) {
            list.refuse("expected an array of identifiers, each an array of three numbers");
        }
        std::vector<TARN_ID>& ids = labels[name];
        ids.reserve(list.value().size());
        for (Json::ArrayIndex i = 0; i < list.value().size(); ++i) {
            ids.push_back(parseIdentifier(list.child(i)));
        }
    }
    return labels;
}

Oids parseOids(const Node& node) {
    requireObject(node, "expected an object of names, each with one identifier");
    Oids oids;
    oids.reserve(node.value().size());
    for (const std::string& name : node.value().getMemberNames()) {
        oids.emplace(name, parseIdentifier(node.child(name)));
    }
    return oids;
}

// A table of another version may look different altogether, so this is checked before anything else in it.
void requireVersion(const Node& root) {
    const Json::Value& format = root.value()["format"];
    if (!format.isString() || format.asString() != kFormat) {
        root.refuse(std::string("\"format\" must be \"") + kFormat + "\"", kOtherVersion);
    }
    const Json::Value& version = root.value()["version"];
    if (!version.isUInt() || version.type() == Json::realValue || version.asUInt() != kVersion) {
        root.refuse("\"version\" must be " + std::to_string(kVersion), kOtherVersion);
    }
}

Table parseRoot(const Node& root) {
    requireObject(root, "expected an object with format, version, labels, devices and modules");
    requireVersion(root);
    Table table;
    for (const std::string& name : root.value().getMemberNames()) {
        const Node member = root.child(name);
        if (name == "labels") {
            requireObject(member, "expected an object of kinds, each with an object of names");
            for (const std::string& kind : member.value().getMemberNames()) {
                table.kinds.emplace(kind, parseLabels(member.child(kind)));
            }
        } else if (name == "devices") {
            table.devices = parseOids(member);
        } else if (name == "modules") {
            table.modules = parseOids(member);
        } else if (name != "format" && name != "version" && name != "comment") {
            member.refuse("unknown member; known are format, version, comment, labels, devices and modules");
        }
    }
    return table;
}

// The parser's own report is a list of lines; one line of it, the first mistake, is what a reader needs.
std::string firstError(std::string report) {
    report.erase(0, report.find_first_not_of("* "));
    while (!report.empty() && report.back() == '\n') {
        report.pop_back();
    }
    const std::size_t second = report.find("\n* ");
    report.resize(std::min(second, report.size()));
    std::replace(report.begin(), report.end(), '\n', ' ');
    return report;
}

// The parser takes a NUL byte for the end of the text and would pass over what stands behind it.
void requireText(const std::string& text) {
    const std::size_t nul = text.find('\0');
    if (nul != std::string::npos) {
        const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(nul), '\n');
        throw Malformed(kNoJson, "line " + std::to_string(line) + ": a NUL byte, which JSON never holds");
    }
}

Json::Value parseJson(const std::string& text) {
    requireText(text);
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string report;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &root, &report)) {
            throw Malformed(kNoJson, firstError(report));
        }
    } catch (const Json::Exception& error) {
        throw Malformed(kNoJson, error.what());
    }
    return root;
}

std::string readAll(int fd, off_t size) {
    std::string text(static_cast<std::size_t>(size), '\0');
    std::size_t used = 0;
    while (true) {
        // One byte more than is known of, so that the end is seen.
        text.resize(std::max(text.size(), used + 1));
        const ssize_t count = read(fd, text.data() + used, text.size() - used);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw Malformed(kUnreadable, std::strerror(errno));
        }
        if (count == 0) {
            text.resize(used);
            return text;
        }
        used += static_cast<std::size_t>(count);
    }
}

std::string readFile(const std::string& path) {
    // Without O_NONBLOCK a FIFO in the file's place would hold us here.
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!fd.valid() || fstat(fd.get(), &status) != 0) {
        throw Malformed(kUnreadable, std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw Malformed(kUnreadable, "is not a regular file");
    }
    return readAll(fd.get(), status.st_size);
}

// Runs one step and turns every way in which it can fail into a status with a text.
template <class Step>
int guarded(std::string& problem, Step step) noexcept {
    try {
        try {
            step();
            return kOk;
        } catch (const Malformed& error) {
            problem = error.what();
            return error.status();
        } catch (const std::bad_alloc&) {
            problem = "out of memory";
            return kNoMemory;
        } catch (const std::exception& error) {
            problem = error.what();
            return kBadContent;
        }
    } catch (...) {
        return kNoMemory;  // not even the text could be kept
    }
}

}  // namespace

int readText(const std::string& path, std::string& text, std::string& problem) noexcept {
    return guarded(problem, [&] { text = readFile(path); });
}

int parse(const std::string& text, Table& table, std::string& problem) noexcept {
    return guarded(problem, [&] {
        const Json::Value root = parseJson(text);
        table = parseRoot(Node(text, root, nullptr, {}));
    });
}

int load(const std::string& path, Table& table, std::string& problem) noexcept {
    std::string text;
    int status = readText(path, text, problem);
    if (status == kOk) {
        status = parse(text, table, problem);
    }
    if (status != kOk) {
        static_cast<void>(guarded(problem, [&] { problem.insert(0, path + ": "); }));
    }
    return status;
}

}  // namespace labeltable
