#include "libtarnpolicydoc/JsonTree.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace policydoc {

namespace {

// Deeper than any policy; bounds what a hostile text can make us build.
constexpr std::size_t kMaxDepth = 200;

// Where the elements of a group's rules stand: document, "groups", the group, "rules".
constexpr std::size_t kRulesDepth = 4;

// The characters of a text with their place. The reader takes NUL for the end, so that a real one is remembered.
template <typename Source>
class CountingStream {
public:
    using Ch = char;

    explicit CountingStream(Source source, std::uint32_t line) : source_(std::move(source)), line_(line) { advance(); }

    char Peek() const { return current_; }
    char Take() {
        const char taken = current_;
        if (taken == '\n') {
            ++line_;
            lineStart_ = offset_;
        }
        advance();
        return taken;
    }
    std::size_t Tell() const { return offset_ - 1; }

    // The reader's interface asks for them; only in-place parsing would call them.
    char* PutBegin() { return nullptr; }
    void Put(char) {}
    void Flush() {}
    std::size_t PutEnd(char*) { return 0; }

    std::uint32_t line() const { return line_; }
    std::uint32_t column() const { return static_cast<std::uint32_t>(offset_ - lineStart_); }
    bool atRealNul() const { return current_ == '\0' && !ended_; }
    int error() const { return source_.error(); }

private:
    void advance() {
        ended_ = !source_.next(current_);
        if (ended_) {
            current_ = '\0';
        }
        ++offset_;
    }

    Source source_;
    char current_ = '\0';
    bool ended_ = false;
    std::uint32_t line_;
    std::size_t offset_ = 0;
    std::size_t lineStart_ = 0;
};

class TextSource {
public:
    explicit TextSource(std::string_view text) : text_(text) {}
    bool next(char& c) {
        if (at_ == text_.size()) {
            return false;
        }
        c = text_[at_++];
        return true;
    }
    int error() const { return 0; }

private:
    std::string_view text_;
    std::size_t at_ = 0;
};

class FileSource {
public:
    explicit FileSource(int fd) : fd_(fd) {}
    bool next(char& c) {
        if (at_ == filled_ && !fill()) {
            return false;
        }
        c = block_[at_++];
        return true;
    }
    int error() const { return error_; }

private:
    bool fill() {
        ssize_t count = 0;
        do {
            count = read(fd_, block_.data(), block_.size());
        } while (count < 0 && errno == EINTR);
        if (count < 0) {
            error_ = errno;
        }
        at_ = 0;
        filled_ = count > 0 ? static_cast<std::size_t>(count) : 0;
        return filled_ != 0;
    }

    int fd_;
    std::vector<char> block_ = std::vector<char>(65536);
    std::size_t at_ = 0;
    std::size_t filled_ = 0;
    int error_ = 0;
};

// Builds the tree from the reader's events. The stack holds the containers that are still open.
template <typename Stream>
class TreeBuilder {
public:
    TreeBuilder(Stream& stream, JsonNode& root, const RuleSink* sink, bool streamRules)
        : stream_(stream), root_(root), sink_(sink), streamRules_(streamRules) {}

    bool Null() { return add(JsonKind::kNull, ""); }
    bool Bool(bool value) { return add(JsonKind::kBoolean, value ? "true" : "false"); }
    bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
        return add(JsonKind::kNumber, std::string_view(text, length));
    }
    bool String(const char* text, rapidjson::SizeType length, bool) {
        return add(JsonKind::kString, std::string_view(text, length));
    }
    bool Key(const char* text, rapidjson::SizeType length, bool) {
        if (skipped_ == 0) {
            key_.assign(text, length);
        }
        return true;
    }
    bool StartObject() { return open(JsonKind::kObject); }
    bool StartArray() { return open(JsonKind::kArray); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }

    // Numbers come as text, so that these are never called.
    bool Int(int) { return false; }
    bool Uint(unsigned) { return false; }
    bool Int64(std::int64_t) { return false; }
    bool Uint64(std::uint64_t) { return false; }
    bool Double(double) { return false; }

    bool stopped() const { return stopped_; }
    bool tooDeep() const { return tooDeep_; }

private:
    bool isRule() const {
        return streamRules_ && open_.size() == kRulesDepth && open_[3].kind == JsonKind::kArray &&
               open_[3].key == "rules" && open_[2].kind == JsonKind::kObject && open_[1].key == "groups" &&
               open_[1].kind == JsonKind::kObject;
    }

    JsonNode make(JsonKind kind) {
        JsonNode node;
        node.kind = kind;
        node.line = stream_.line();
        if (!open_.empty() && open_.back().kind == JsonKind::kObject) {
            node.key = std::move(key_);
            key_.clear();
        }
        return node;
    }

    bool add(JsonKind kind, std::string_view text) {
        if (skipped_ != 0) {
            return true;
        }
        JsonNode node = make(kind);
        node.text = text;
        return store(std::move(node));
    }

    bool open(JsonKind kind) {
        if (skipped_ != 0 || (isRule() && sink_ == nullptr)) {
            ++skipped_;
            return checkDepth();
        }
        open_.push_back(make(kind));
        return checkDepth();
    }

    bool checkDepth() {
        tooDeep_ = open_.size() + skipped_ > kMaxDepth;
        return !tooDeep_;
    }

    bool close() {
        if (skipped_ != 0) {
            if (--skipped_ == 0) {
                ++open_.back().streamed;
            }
            return true;
        }
        JsonNode node = std::move(open_.back());
        open_.pop_back();
        return store(std::move(node));
    }

    bool store(JsonNode node) {
        if (open_.empty()) {
            root_ = std::move(node);
            return true;
        }
        if (isRule()) {
            const std::uint32_t index = open_.back().streamed++;
            stopped_ = sink_ != nullptr && !(*sink_)(open_[2].key, index, node);
            return !stopped_;
        }
        open_.back().children.push_back(std::move(node));
        return true;
    }

    Stream& stream_;
    JsonNode& root_;
    const RuleSink* sink_;
    bool streamRules_;
    std::vector<JsonNode> open_;
    std::string key_;
    std::size_t skipped_ = 0;  // open containers of a rule that nobody asked for
    bool stopped_ = false;
    bool tooDeep_ = false;
};

template <typename Stream>
std::string describe(const Stream& stream, rapidjson::ParseErrorCode code) {
    if (stream.error() != 0) {
        return std::string("the file could not be read: ") + std::strerror(stream.error());
    }
    return stream.atRealNul() ? "a NUL byte, which JSON never holds" : rapidjson::GetParseError_En(code);
}

template <typename Stream>
ParseResult parse(Stream& stream, const RuleSink* sink, bool streamRules, JsonNode& root, JsonError& error) {
    constexpr unsigned int kFlags =
        rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseIterativeFlag;
    TreeBuilder<Stream> builder(stream, root, sink, streamRules);
    rapidjson::Reader reader;
    const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, builder);
    if (!result.IsError() && !stream.atRealNul() && stream.error() == 0) {
        return ParseResult::kComplete;
    }
    if (builder.stopped()) {
        return ParseResult::kStopped;
    }
    error.line = stream.line();
    error.column = stream.column();
    error.what = builder.tooDeep() ? "nested deeper than " + std::to_string(kMaxDepth) + " levels"
                                   : describe(stream, result.Code());
    return ParseResult::kBroken;
}

}  // namespace

const JsonNode* JsonNode::member(std::string_view name) const {
    for (const JsonNode& child : children) {
        if (child.key == name) {
            return &child;
        }
    }
    return nullptr;
}

ParseResult parseLine(std::string_view text, std::uint32_t line, JsonNode& root, JsonError& error) {
    CountingStream<TextSource> stream(TextSource(text), line);
    return parse(stream, nullptr, false, root, error);
}

ParseResult parseDocument(int fd, const RuleSink& sink, JsonNode& root, JsonError& error) {
    CountingStream<FileSource> stream(FileSource(fd), 1);
    return parse(stream, sink ? &sink : nullptr, true, root, error);
}

}  // namespace policydoc
