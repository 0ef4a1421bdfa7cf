// A rule of a set as text and as JSON, from its canonical form.
#ifndef TARN_POLICY_RULE_TEXT_H
#define TARN_POLICY_RULE_TEXT_H

#include <string>

#include "libtarnnames/NameBook.h"
#include "libtarnrules/RebuiltRecord.h"

// What gives the numbers of a rule their names: the book of its set, and the label table, which may be empty.
struct RuleWords {
    const tarnnames::NameBook& book;
    const tarnnames::Identifiers& labels;
};

// "subject=0x1:0x2:0x3 object=... class=1(file) perm=2(write) namespace=net"
std::string identityText(const tarnrules::RebuiltRecord& rule, const RuleWords& words);
// "attrA=0 attrB=0 ext=0,0,0,0 condition={...} actions={...}", the condition in infix order.
std::string contentText(const tarnrules::RebuiltRecord& rule);

// The same as members of an object, without braces.
std::string identityJson(const tarnrules::RebuiltRecord& rule, const RuleWords& words);
std::string contentJson(const tarnrules::RebuiltRecord& rule);

#endif
