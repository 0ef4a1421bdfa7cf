// Text from documents and state files, made fit for those who read it: programs and terminals.
#ifndef TARN_POLICYDOC_TEXT_H
#define TARN_POLICYDOC_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace policydoc {

// The length of the UTF-8 character at the front of a text that is not empty; 0 where its first byte begins none.
std::size_t characterLength(std::string_view text);

// The text with U+FFFD for each byte that is no part of a character.
std::string validUtf8(std::string_view text);

// The same for a terminal: control characters are written as JSON escapes, bytes that are no character as "\xff".
// Line feeds stay only where `keepLines` says so.
std::string printable(std::string_view text, bool keepLines = false);

}  // namespace policydoc

#endif
