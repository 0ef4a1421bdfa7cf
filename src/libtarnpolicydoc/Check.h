// Everything that can be known to be wrong before anything is compiled.
#ifndef TARN_POLICYDOC_CHECK_H
#define TARN_POLICYDOC_CHECK_H

#include <json/value.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "libtarnpolicydoc/Diagnostics.h"
#include "libtarnpolicydoc/Labels.h"
#include "libtarnpolicydoc/PolicyDocument.h"

namespace policydoc {

// Reads class definitions as the library does; nothing when they can't be read, which is reported.
std::optional<Json::Value> readClasses(const std::string& path, Diagnostics& diagnostics);

// Reads the numbers that "scene_info" pins for namespaces. A missing file gives none, one that can't be read none and a
// warning; lines that the library would skip are skipped here, too.
std::map<std::string, std::uint32_t> readPinnedNumbers(const std::string& path, Diagnostics& diagnostics);

struct CheckContext {
    const Json::Value* classes = nullptr;                // none: classes and permissions are not checked
    const Labels* labels = nullptr;                      // none: rules without records are not looked for
    std::map<std::string, std::uint32_t> pinnedNumbers;  // namespace numbers that are not the checksum of the name
    unsigned int threads = 1;                            // compiler threads; decides which file names arise
    // Called now and then, with the rules checked so far and the bytes that were read of all files; may be empty.
    std::function<void(std::uint64_t rules, std::uint64_t bytes)> progress;
};

// The bytes of the document and its rule files.
std::uint64_t sizeOfFiles(const PolicyDocument& document);

// Checks names, declarations and every rule; reports all mistakes of the document in one run. False when the rules
// could not be read to their end.
bool check(const PolicyDocument& document, const CheckContext& context, Diagnostics& diagnostics);

// Warns of declared names that have no label, and of devices and kernel modules without an identifier. For callers that
// know the labels only after check.
void checkLabels(const PolicyDocument& document, const Labels& labels, Diagnostics& diagnostics);

}  // namespace policydoc

#endif
