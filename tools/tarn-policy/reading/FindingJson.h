// A finding of the reader as members of a JSON object.
#ifndef TARN_POLICY_FINDING_JSON_H
#define TARN_POLICY_FINDING_JSON_H

#include <string>

#include "libtarnmessage/SetWalk.h"

// "problem":"text", and for a finding "code", "answer", "offset", "expected", "found".
void appendProblemJson(std::string& json, const tarnmessage::FileReport& file);

#endif
