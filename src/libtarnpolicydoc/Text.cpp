#include "libtarnpolicydoc/Text.h"

#include <algorithm>

namespace policydoc {

namespace {

// The first bytes of one length, and what may follow them: the second byte's bounds keep overlong forms, surrogates and
// numbers beyond U+10FFFF out, the others go from 0x80 to 0xBF.
struct Form {
    unsigned int first;
    unsigned int last;
    std::size_t length;
    unsigned int secondLow;
    unsigned int secondHigh;
};

constexpr Form kForms[] = {
    {0x00, 0x7F, 1, 0, 0},       {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

constexpr char kReplacement[] = "\xEF\xBF\xBD";

unsigned int byteOf(char c) {
    return static_cast<unsigned char>(c);
}

bool isBetween(char c, unsigned int low, unsigned int high) {
    return byteOf(c) >= low && byteOf(c) <= high;
}

void appendHex(std::string& out, const char* before, unsigned int byte) {
    static constexpr char kDigits[] = "0123456789abcdef";
    out += before;
    out += kDigits[byte >> 4U];
    out += kDigits[byte & 0xFU];
}

// U+0080 to U+009F are control characters, too: terminals take some of them for the beginning of a command.
bool isLateControl(std::string_view character) {
    return character.size() == 2 && byteOf(character[0]) == 0xC2 && byteOf(character[1]) < 0xA0;
}

void appendPrintable(std::string& out, std::string_view character, bool keepLines) {
    const char c = character[0];
    if (isLateControl(character)) {
        appendHex(out, "\\u00", byteOf(character[1]));
    } else if (character.size() > 1 || (byteOf(c) >= ' ' && byteOf(c) != 0x7F) || (c == '\n' && keepLines)) {
        out += character;
    } else if (c == '\n') {
        out += "\\n";
    } else if (c == '\t') {
        out += "\\t";
    } else {
        appendHex(out, "\\u00", byteOf(c));
    }
}

}  // namespace

std::size_t characterLength(std::string_view text) {
    const Form* form = std::find_if(std::begin(kForms), std::end(kForms),
                                    [&](const Form& one) { return isBetween(text[0], one.first, one.last); });
    if (form == std::end(kForms) || text.size() < form->length) {
        return 0;
    }
    if (form->length > 1 && !isBetween(text[1], form->secondLow, form->secondHigh)) {
        return 0;
    }
    for (std::size_t i = 2; i < form->length; ++i) {
        if (!isBetween(text[i], 0x80, 0xBF)) {
            return 0;
        }
    }
    return form->length;
}

std::string validUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        out += length == 0 ? std::string_view(kReplacement) : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return out;
}

std::string printable(std::string_view text, bool keepLines) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        if (length == 0) {
            appendHex(out, "\\x", byteOf(text[0]));
        } else {
            appendPrintable(out, text.substr(0, length), keepLines);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return out;
}

}  // namespace policydoc
