// Any bytes as a message: the reader must answer, and what it takes must hold together. A set of several messages is
// the bytes themselves, cut by the length in each header.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "libtarnmessage/Fields.h"
#include "libtarnmessage/KernelState.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnnames/JsonText.h"
#include "libtarnnames/RecordJson.h"
#include "libtarnnames/RecordText.h"

namespace {

using namespace tarnmessage;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// The fields of a record follow one another without a gap, too.
class FieldWalker : public FieldSink {
public:
    explicit FieldWalker(std::size_t offset) : end(offset) {}
    void onPart(const char* name, std::size_t /*number*/) override { require(*name != 0); }
    void onField(const Field& field) override {
        require(field.offset == end && !field.bytes.empty());
        end += field.bytes.size();
    }
    std::size_t end;
};

// The records of a message that is taken follow one another without a gap, from the header to the end number.
class Walker : public MessageVisitor {
public:
    explicit Walker(const FunctionTable& functions) : functions_(functions) {}

    void onHeader(const kernelmsg::MessageHeader& header) override { announced_ = header.recordCount; }
    void onNamespace(const NamespaceView& block) override {
        follow(block.offset, block.bytes.size());
        require(!namespaceText(block).empty());
        FieldWalker fields(block.offset);
        showNamespace(block, 0, fields);
        require(fields.end == end_);
        std::string json;
        tarnnames::appendNamespaceJson(json, block);
        require(tarnnames::isUtf8(json));
    }
    void onPolicy(const PolicyRecordView& record) override {
        follow(record.offset, record.bytes.size());
        require(count(record.condition()) == record.node.exprCount);
        require(count(record.actions()) == record.node.actionCount);
        require(recordLine(record, functions_).find('\n') == std::string::npos);
        require(!recordText(record, functions_).empty());
        FieldWalker fields(record.offset);
        showPolicy(record, 0, fields);
        require(fields.end == end_);
        std::string text;
        appendRecordJson(text, record, words_.of(record.node), words_.book());
        require(tarnnames::isUtf8(text) && text.find('\n') == std::string::npos);
        appendRecordText(text, record, words_.of(record.node), words_.book());
    }
    void finish(std::size_t size) const {
        require(records_ == announced_);
        require(end_ == size || end_ + sizeof(kernelmsg::kEndNumber) == size);
    }

private:
    static std::uint32_t count(ExprCursor nodes) {
        std::uint32_t number = 0;
        for (ExprView node; nodes.next(node);) {
            ++number;
        }
        return number;
    }
    void follow(std::size_t offset, std::size_t size) {
        require(offset == end_);
        end_ += size;
        ++records_;
    }

    const FunctionTable& functions_;
    const tarnnames::NameBook book_;
    tarnnames::RecordWordsCache words_{book_};
    std::uint32_t announced_ = 0;
    std::uint32_t records_ = 0;
    std::size_t end_ = sizeof(kernelmsg::MessageHeader);
};

std::size_t lengthOfFirst(std::string_view bytes) {
    kernelmsg::MessageHeader header{};
    const bool framed = ByteCursor(bytes, 0, bytes.size()).take(header) && header.length >= sizeof(header);
    return framed && header.length < bytes.size() ? header.length : bytes.size();
}

void readSet(std::string_view bytes) {
    KernelState kernel;
    while (!bytes.empty()) {
        const std::string_view message = bytes.substr(0, lengthOfFirst(bytes));
        Walker walker(kernel.functions());
        const KernelState::Answer answer = kernel.deliver(message, walker);
        if (answer.finding) {
            require(answer.number() != 0 && !toText(*answer.finding).empty());
            require(answer.finding->offset <= message.size());
        } else {
            walker.finish(message.size());
        }
        bytes.remove_prefix(message.size());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    readSet(bytes);
    // Without a set around it, so that a policy message is reached at once.
    const FunctionTable nothingAnnounced;
    Walker walker(nothingAnnounced);
    if (!parseMessage(bytes, {}, walker)) {
        walker.finish(bytes.size());
    }
    return 0;
}
