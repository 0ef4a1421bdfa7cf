// A record as lines for people, with every name that is known.
#ifndef TARN_NAMES_RECORD_TEXT_H
#define TARN_NAMES_RECORD_TEXT_H

#include <string>
#include <string_view>

#include "libtarnmessage/MessageViews.h"
#include "libtarnnames/RecordWords.h"

namespace tarnnames {

// "subject_file /usr/bin/a, object_file /usr/bin/a"; empty where nobody knows a name.
std::string identifierNames(const TARN_ID& identifier, const Identifiers& identifiers);
// "0x1:0x2:0x3 (subject_file /usr/bin/a)"
std::string identifierWords(const TARN_ID& identifier, const Identifiers& identifiers);

// Appends the fields of a record, one a line, each with two blanks in front; the condition in infix order and as it is
// stored.
void appendRecordText(std::string& text, const tarnmessage::PolicyRecordView& record, const RecordWords& words,
                      const NameBook& book);

}  // namespace tarnnames

#endif
