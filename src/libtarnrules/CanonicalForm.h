// The canonical form of a rule: what one policy record says, with names in place of the numbers of namespaces and
// functions, laid out so that the order of the bytes is a sensible order of the rules. Records of equal meaning have equal
// forms in every set, whatever numbers the set gave to the names. docs/digest.md lays the form down byte by byte; a change
// of it changes every digest.
#ifndef TARN_RULES_CANONICAL_FORM_H
#define TARN_RULES_CANONICAL_FORM_H

#include <cstddef>
#include <string>
#include <string_view>

#include "libtarnmessage/MessageViews.h"
#include "libtarnrules/RuleNames.h"

namespace tarnrules {

// Forms of more bytes than this are not made: a record of at most 1 MiB gets there only with names of hundreds of bytes
// for each of its calls.
inline constexpr std::size_t kMostFormBytes = std::size_t{16} << 20U;

// Puts the form of a sound record in the place of `form`. False, with the form cut short, where it would be too long.
bool writeForm(std::string& form, const tarnmessage::PolicyRecordView& record, RuleNames& names);

// The same with a stand-in for each name that is long (LongForms.h): one record of a hundred bytes may have a form of
// megabytes, and a million others the same. Keys have the order of the forms, and are equal where these are. False where
// the form would be too long. Keys go with the names that made them.
bool writeKey(std::string& key, const tarnmessage::PolicyRecordView& record, RuleNames& names);
// Puts the form in the place of `form`.
void writeFormOfKey(std::string& form, std::string_view key, const RuleNames& names);

// The start of a form that tells which rule it is: subject, object, class, permission and namespace. What follows is what
// the rule says: attributes, further words, condition, actions. No identity is the start of another.
std::string_view identityOf(std::string_view form);

}  // namespace tarnrules

#endif
