// Views of a message that the reader has accepted. They copy the fixed parts of a record and point into the caller's
// bytes for everything else: the bytes must outlive them. Every offset counts from the start of the message.
#ifndef TARN_MESSAGE_VIEWS_H
#define TARN_MESSAGE_VIEWS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "libtarnpolicysync/KernelMessage.h"

namespace tarnmessage {

// Takes values from a range of a message, front to back, and never beyond its end.
class ByteCursor {
public:
    ByteCursor() = default;
    ByteCursor(std::string_view message, std::size_t begin, std::size_t end)
        : message_(message), position_(begin), end_(end) {}

    std::size_t position() const { return position_; }
    std::size_t remaining() const { return end_ - position_; }

    // False, with nothing taken, when fewer bytes are left.
    template <typename T>
    bool take(T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        if (remaining() < sizeof(T)) {
            return false;
        }
        std::memcpy(&value, message_.data() + position_, sizeof(T));
        position_ += sizeof(T);
        return true;
    }

    bool takeBytes(std::size_t count, std::string_view& bytes) {
        if (remaining() < count) {
            return false;
        }
        bytes = message_.substr(position_, count);
        position_ += count;
        return true;
    }

private:
    std::string_view message_;
    std::size_t position_ = 0;
    std::size_t end_ = 0;
};

// One parameter of a call.
struct ParamView {
    std::size_t offset = 0;
    kernelmsg::ParamInfo info{};
    std::int64_t integer = 0;  // for type 2
    std::string_view text;     // for type 3
};

class ParamCursor {
public:
    ParamCursor(const ByteCursor& bytes, std::uint32_t count) : bytes_(bytes), left_(count) {}
    bool next(ParamView& param);  // false at the end
    const ByteCursor& bytes() const { return bytes_; }

private:
    ByteCursor bytes_;
    std::uint32_t left_;
};

// One node of a condition, or one action.
struct ExprView {
    std::size_t offset = 0;
    kernelmsg::ExprRecord record{};
    std::string_view variable;  // "namespace:variable", for type 12
    ByteCursor paramBytes;

    ParamCursor params() const { return {paramBytes, record.paramCount}; }
};

class ExprCursor {
public:
    ExprCursor(const ByteCursor& bytes, std::uint32_t count) : bytes_(bytes), left_(count) {}
    bool next(ExprView& node);  // false at the end

private:
    ByteCursor bytes_;
    std::uint32_t left_;
};

// One policy record: one rule for one pair of subject and object.
struct PolicyRecordView {
    std::size_t offset = 0;  // of the magic number
    std::string_view bytes;  // from the magic number to the end of the last action
    kernelmsg::PolicyNodeRecord node{};
    ByteCursor conditionBytes;
    ByteCursor actionBytes;

    std::uint32_t nameId() const { return node.ext[1]; }
    ExprCursor condition() const { return {conditionBytes, node.exprCount}; }  // in prefix order
    ExprCursor actions() const { return {actionBytes, node.actionCount}; }
};

// One function of a namespace.
struct FunctionView {
    std::size_t offset = 0;
    std::uint32_t functionId = 0;
    std::string_view name;  // "module:function"
};

class FunctionCursor {
public:
    FunctionCursor(const ByteCursor& bytes, std::uint32_t count) : bytes_(bytes), left_(count) {}
    bool next(FunctionView& function);  // false at the end

private:
    ByteCursor bytes_;
    std::uint32_t left_;
};

// One block of a namespace message.
struct NamespaceView {
    std::size_t offset = 0;  // of the magic number
    std::string_view bytes;
    kernelmsg::NameNodeRecord node{};
    std::string_view name;
    ByteCursor functionBytes;

    FunctionCursor functions() const { return {functionBytes, node.functionCount}; }
};

}  // namespace tarnmessage

#endif
