// Messages as text for people: what stands in a header, a namespace block, a policy record.
#ifndef TARN_MESSAGE_TEXT_H
#define TARN_MESSAGE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "libtarnmessage/FunctionTable.h"
#include "libtarnmessage/MessageViews.h"

namespace tarnmessage {

// "begin", "end", "policy", "namespace", or "type 9".
std::string messageTypeText(std::uint32_t type);

// Bytes between quotation marks; what is not printable ASCII, and quotation mark and backslash, as \xHH.
std::string quoted(std::string_view bytes);
// The same without the marks, and with blanks escaped too: one word.
std::string escaped(std::string_view bytes);

// What is shown of a name wherever a record has its number, or a message speaks of it. A message of 1 MiB may give a number
// a name of nearly that length, or thousands of names, and the next one have ten thousand records of that number: written
// out, they would be gigabytes.
inline constexpr std::size_t kMostNameBytes = 255;
// The first bytes of a name, at most so many and no part of a character in UTF-8.
std::string_view nameStart(std::string_view name);
// How many of the names of one number are shown: up to the one that takes them to so many bytes.
template <typename Names>
std::size_t shownCount(const Names& names) {
    std::size_t count = 0;
    std::size_t bytes = 0;
    for (auto name = names.begin(); name != names.end() && bytes < kMostNameBytes; ++name, ++count) {
        bytes += name->size();
    }
    return count;
}
// The name escaped; one that is cut ends with "... (745 more bytes)". No name looks like that: blanks are escaped.
std::string shownName(std::string_view name);
// The same between quotation marks, with blanks as they are and the words on the cut behind the marks.
std::string shownQuoted(std::string_view name);
// "a or b"; where names are left out, "a or b ... (17 more)". An empty name is "".
template <typename Names>
std::string shownNames(const Names& names) {
    const std::size_t count = shownCount(names);
    std::string text;
    auto name = names.begin();
    for (std::size_t index = 0; index < count; ++index, ++name) {
        text += index == 0 ? "" : " or ";
        text += name->empty() ? "\"\"" : shownName(*name);
    }
    return count == names.size() ? text : text + " ... (" + std::to_string(names.size() - count) + " more)";
}

// Three words in hexadecimal, joined by ":".
std::string identifierText(const TARN_ID& identifier);

// What is written of one condition, or of the actions of one record, ends behind the node that takes it to so many bytes:
// a record may call functions with long names tens of thousands of times. Records that the compiler writes for names of up to a hundred bytes are never cut.
inline constexpr std::size_t kMostExpressionText = std::size_t{4} << 20U;

// A record's condition. Operators and operands that have no name of their own are op and operand with their code, the
// value of a dynamic variable stands in brackets. Function numbers become names where the table knows them, else
// "function#3"; one that is cut has its number, too: "m:ff... (745 more bytes, function#3)". Empty text for a record without a condition. A text that is cut ends with " ... (17 more)", the number of
// nodes that are left out, which also goes to `omitted` where that is given (0 for a whole text).
//   prefix:  op2 netmod:check(7, "ab") not net:usb_block[1]
//   infix:   (netmod:check(7, "ab") op2 not net:usb_block[1])
std::string conditionPrefixText(const PolicyRecordView& record, const FunctionTable& functions,
                                std::uint64_t* omitted = nullptr);
std::string conditionInfixText(const PolicyRecordView& record, const FunctionTable& functions,
                               std::uint64_t* omitted = nullptr);
// "netmod:log("denied"), netmod:count()"
std::string actionsText(const PolicyRecordView& record, const FunctionTable& functions,
                        std::uint64_t* omitted = nullptr);

// The record in one line, every field by its name, the condition in prefix order: equal records give equal lines. A
// line has no line feed of its own.
std::string recordLine(const PolicyRecordView& record, const FunctionTable& functions);

// The record on several lines, for reading.
std::string recordText(const PolicyRecordView& record, const FunctionTable& functions);
std::string namespaceText(const NamespaceView& block);

}  // namespace tarnmessage

#endif
