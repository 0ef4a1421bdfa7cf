// Records and namespaces as members of a JSON object. The members are part of the tool's output format 1: see
// docs/tarn-policy.md.
#ifndef TARN_NAMES_RECORD_JSON_H
#define TARN_NAMES_RECORD_JSON_H

#include <string>

#include "libtarnmessage/MessageViews.h"
#include "libtarnnames/RecordWords.h"

namespace tarnnames {

// Both append members without braces.
void appendRecordJson(std::string& json, const tarnmessage::PolicyRecordView& record, const RecordWords& words,
                      const NameBook& book);
void appendNamespaceJson(std::string& json, const tarnmessage::NamespaceView& block);

}  // namespace tarnnames

#endif
