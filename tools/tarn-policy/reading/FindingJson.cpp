#include "reading/FindingJson.h"

#include "libtarnnames/JsonText.h"

using tarnnames::appendJsonNumber;
using tarnnames::appendJsonString;

void appendProblemJson(std::string& json, const tarnmessage::FileReport& file) {
    json += "\"problem\":";
    if (!file.finding) {
        appendJsonString(json, file.problem);
        return;
    }
    const tarnmessage::FindingInfo& info = findingInfo(file.finding->code);
    appendJsonString(json, info.text);
    json += ",\"code\":";
    appendJsonString(json, info.id);
    json += ",\"answer\":";
    appendJsonNumber(json, static_cast<std::uint64_t>(info.answer));
    json += ",\"offset\":";
    appendJsonNumber(json, file.finding->offset);
    json += ",\"expected\":";
    appendJsonNumber(json, file.finding->expected);
    json += ",\"found\":";
    appendJsonNumber(json, file.finding->found);
}
