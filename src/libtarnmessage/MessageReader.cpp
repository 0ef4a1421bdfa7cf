#include "libtarnmessage/MessageReader.h"

#include "libtarnmessage/MessageBody.h"

namespace tarnmessage {

namespace {

using kernelmsg::MessageHeader;

constexpr std::size_t kHeaderSize = sizeof(MessageHeader);
constexpr std::size_t kEndNumberSize = sizeof(kernelmsg::kEndNumber);

bool isFrame(const MessageHeader& header) {
    return header.type == kernelmsg::kTypeBegin || header.type == kernelmsg::kTypeEnd;
}

std::uint32_t recordSizeOf(std::uint32_t type) {
    switch (type) {
        case kernelmsg::kTypePolicy:
            return sizeof(kernelmsg::PolicyNodeRecord);
        case kernelmsg::kTypeNamespace:
            return sizeof(kernelmsg::NameNodeRecord);
        default:
            return 0;
    }
}

// A begin or end message has no records. The library closes a policy message at its bound and never writes an empty
// one.
bool checkRecordCount(BodyReader& body, const MessageHeader& header) {
    constexpr std::size_t kOffset = offsetof(MessageHeader, recordCount);
    if (isFrame(header)) {
        return body.require(FindingCode::kRecordCount, kOffset, 0, header.recordCount);
    }
    if (header.type == kernelmsg::kTypeNamespace) {
        return true;
    }
    constexpr std::uint32_t kMost = kernelmsg::kRecordsPerMessage;
    return (header.recordCount >= 1 || body.fail(FindingCode::kRecordCount, kOffset, 1, header.recordCount)) &&
           (header.recordCount <= kMost || body.fail(FindingCode::kRecordCount, kOffset, kMost, header.recordCount));
}

bool checkHeader(BodyReader& body, const MessageHeader& header) {
    const std::size_t size = body.bytes.size();
    return body.require(FindingCode::kFormat, offsetof(MessageHeader, format), kernelmsg::kFormat, header.format) &&
           (size <= kernelmsg::kMessageCapacity ||
            body.fail(FindingCode::kMessageTooLong, kernelmsg::kMessageCapacity, kernelmsg::kMessageCapacity, size)) &&
           body.require(FindingCode::kLength, offsetof(MessageHeader, length), size, header.length) &&
           body.require(FindingCode::kRecordSize, offsetof(MessageHeader, recordSize), recordSizeOf(header.type),
                        header.recordSize) &&
           checkRecordCount(body, header);
}

std::uint32_t wordAt(std::string_view bytes, std::size_t offset) {
    std::uint32_t word = 0;
    static_cast<void>(ByteCursor(bytes, offset, bytes.size()).take(word));
    return word;
}

// Where the header promises more records than there are, the end number stands in place of a magic number.
bool checkMoreRecords(BodyReader& body, const MessageHeader& header, std::uint32_t recordsRead) {
    const bool atEnd = body.cursor.remaining() == 0;
    return !atEnd || wordAt(body.bytes, body.cursor.position()) != kernelmsg::kEndNumber ||
           body.fail(FindingCode::kRecordCount, offsetof(MessageHeader, recordCount), recordsRead, header.recordCount);
}

bool readRecords(BodyReader& body, const MessageHeader& header, const ReadContext& context, MessageVisitor& visitor) {
    for (std::uint32_t index = 0; index < header.recordCount; ++index) {
        if (!checkMoreRecords(body, header, index)) {
            return false;
        }
        if (header.type == kernelmsg::kTypePolicy) {
            PolicyRecordView record;
            if (!readPolicyRecord(body, context, record)) {
                return false;
            }
            visitor.onPolicy(record);
        } else {
            NamespaceView block;
            if (!readNamespaceBlock(body, block)) {
                return false;
            }
            visitor.onNamespace(block);
        }
    }
    return true;
}

// After the last record come the end number and nothing else.
bool checkEnd(BodyReader& body, const MessageHeader& header) {
    const std::size_t offset = body.cursor.position();
    const std::size_t surplus = body.cursor.remaining();
    const std::uint32_t word = wordAt(body.bytes, offset);
    if (surplus == 0) {
        return body.require(FindingCode::kEndNumber, offset, kernelmsg::kEndNumber, word);
    }
    if (word == kernelmsg::kMagicNumber) {
        return body.fail(FindingCode::kRecordCount, offsetof(MessageHeader, recordCount),
                         std::uint64_t{header.recordCount} + 1, header.recordCount);
    }
    return body.fail(FindingCode::kSurplusBytes, offset, 0, surplus);
}

// A body has at least the end number.
bool checkBodySize(BodyReader& body) {
    const std::size_t rest = body.bytes.size() - kHeaderSize;
    return rest >= kEndNumberSize || body.fail(FindingCode::kShortRecord, kHeaderSize, kEndNumberSize, rest);
}

}  // namespace

std::optional<Finding> readHeader(std::string_view bytes, MessageHeader& header) {
    if (!ByteCursor(bytes, 0, bytes.size()).take(header)) {
        return Finding{FindingCode::kShortHeader, 0, kHeaderSize, bytes.size()};
    }
    if (header.type < kernelmsg::kTypeBegin || header.type > kernelmsg::kTypeNamespace) {
        return Finding{FindingCode::kUnknownType, offsetof(MessageHeader, type), kernelmsg::kTypeNamespace,
                       header.type};
    }
    return std::nullopt;
}

std::optional<Finding> parseMessage(std::string_view bytes, const ReadContext& context, MessageVisitor& visitor) {
    MessageHeader header{};
    if (const auto finding = readHeader(bytes, header)) {
        return finding;
    }
    BodyReader whole(bytes, 0, bytes.size());
    if (!checkHeader(whole, header)) {
        return whole.finding;
    }
    visitor.onHeader(header);
    if (isFrame(header)) {
        static_cast<void>(whole.require(FindingCode::kSurplusBytes, kHeaderSize, kHeaderSize, bytes.size()));
        return whole.finding;
    }
    if (!checkBodySize(whole)) {
        return whole.finding;
    }
    BodyReader body(bytes, kHeaderSize, bytes.size() - kEndNumberSize);
    static_cast<void>(readRecords(body, header, context, visitor) && checkEnd(body, header));
    return body.finding;
}

}  // namespace tarnmessage
