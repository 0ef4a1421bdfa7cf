// A message field by field: every byte of it belongs to exactly one field, in the order of the bytes.
#ifndef TARN_MESSAGE_FIELDS_H
#define TARN_MESSAGE_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "libtarnmessage/MessageViews.h"

namespace tarnmessage {

// Fields whose value has a name elsewhere.
enum class FieldMeaning : std::uint8_t {
    kPlain,
    kMessageType,
    kNameNumber,  // of a namespace
    kIdentifier,  // the last word of a subject or an object, which stands in `identifier`
    kPermClass,
    kPermission,
    kNodeType,
    kFunctionNumber,  // of a call; 0 in other nodes
};

enum class FieldForm : std::uint8_t { kNumber, kHexadecimal, kSigned, kText };

struct Field {
    std::size_t offset = 0;  // from the start of the message
    std::string_view bytes;
    const char* name = "";
    FieldForm form = FieldForm::kNumber;
    FieldMeaning meaning = FieldMeaning::kPlain;
    std::uint64_t value = 0;  // of all forms but kText
    const TARN_ID* identifier = nullptr;
};

class FieldSink {
public:
    FieldSink() = default;
    FieldSink(const FieldSink&) = delete;
    FieldSink& operator=(const FieldSink&) = delete;
    virtual ~FieldSink() = default;

    // The fields that follow belong to this part: "header", "record", "condition", ...
    virtual void onPart(const char* name, std::size_t number) = 0;
    virtual void onField(const Field& field) = 0;
};

// The header, as far as the bytes reach.
void showHeader(std::string_view message, FieldSink& sink);
// A record or block of a message that the reader showed; `number` counts from 0.
void showPolicy(const PolicyRecordView& record, std::size_t number, FieldSink& sink);
void showNamespace(const NamespaceView& block, std::size_t number, FieldSink& sink);
// The end number, which are the last bytes of the message.
void showEnd(std::string_view message, FieldSink& sink);

}  // namespace tarnmessage

#endif
