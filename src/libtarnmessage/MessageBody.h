// What the readers of the two kinds of bodies share. Internal to this folder.
#ifndef TARN_MESSAGE_BODY_H
#define TARN_MESSAGE_BODY_H

#include <optional>
#include <string_view>

#include "libtarnmessage/MessageReader.h"

namespace tarnmessage {

// The part of a message between header and end number, and the first finding. Each check returns false once there is a
// finding, so that steps can be joined with &&.
struct BodyReader {
    BodyReader(std::string_view message, std::size_t begin, std::size_t end)
        : bytes(message), cursor(message, begin, end) {}

    bool fail(FindingCode code, std::size_t offset, std::uint64_t expected, std::uint64_t found) {
        finding = Finding{code, offset, expected, found};
        return false;
    }

    // Holds a field against the only value it may have.
    bool require(FindingCode code, std::size_t offset, std::uint64_t expected, std::uint64_t found) {
        return expected == found || fail(code, offset, expected, found);
    }

    template <typename T>
    bool take(T& value) {
        return cursor.take(value) || fail(FindingCode::kShortRecord, cursor.position(), sizeof(T), cursor.remaining());
    }

    bool takeBytes(std::size_t count, std::string_view& taken) {
        return cursor.takeBytes(count, taken) ||
               fail(FindingCode::kShortRecord, cursor.position(), count, cursor.remaining());
    }

    bool takeMagicNumber() {
        const std::size_t offset = cursor.position();
        std::uint32_t magic = 0;
        return take(magic) && require(FindingCode::kMagicNumber, offset, kernelmsg::kMagicNumber, magic);
    }

    std::string_view bytes;
    ByteCursor cursor;
    std::optional<Finding> finding;
};

bool readNamespaceBlock(BodyReader& body, NamespaceView& block);
bool readPolicyRecord(BodyReader& body, const ReadContext& context, PolicyRecordView& record);

}  // namespace tarnmessage

#endif
