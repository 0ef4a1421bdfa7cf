// Reads a policy document.
#ifndef TARN_POLICYDOC_LOAD_H
#define TARN_POLICYDOC_LOAD_H

#include <optional>
#include <string>

#include "libtarnpolicydoc/Diagnostics.h"
#include "libtarnpolicydoc/PolicyDocument.h"

namespace policydoc {

// Reads everything but the rules and reports what is wrong there: broken JSON, duplicate keys, unknown members, wrong
// types, a version it does not know, rule files that can't be opened. Rules are looked at by check(), so that call
// check() also when this one found mistakes. Nothing is returned when the file can't be read or is not JSON.
std::optional<PolicyDocument> load(const std::string& path, Diagnostics& diagnostics);

}  // namespace policydoc

#endif
