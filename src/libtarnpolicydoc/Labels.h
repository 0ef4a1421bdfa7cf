// Names to identifiers, as the label manager answers them.
#ifndef TARN_POLICYDOC_LABELS_H
#define TARN_POLICYDOC_LABELS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "libtarnpolicydoc/Diagnostics.h"
#include "libtarnpolicydoc/PolicyDocument.h"
#include "libtarnpolicysync/PolicyTypes.h"

namespace policydoc {

struct Labels {
    std::map<std::string, std::map<std::string, std::vector<TARN_ID>>> names;  // kind, name
    std::map<std::string, TARN_ID> devices;
    std::map<std::string, TARN_ID> modules;
};

// Reads a label table (docs/label-table.md). Nothing when it can't be read; every mistake is reported.
std::optional<Labels> readLabelTable(const std::string& path, Diagnostics& diagnostics);

// Keeps of a table what the label manager would be asked for: names, devices and modules that the document declares.
Labels restrictTo(const Labels& table, const PolicyDocument& document);

// Asks the label manager, as a compilation does. Nothing when a call fails, which is reported with its status.
std::optional<Labels> askLabelManager(const PolicyDocument& document, Diagnostics& diagnostics);

// The kind under which a subject's or an object's name is looked up; nullptr where the class has no names (or where the
// name is a device or kernel module).
const char* subjectKind(const std::string& name);
const char* objectKind(const std::string& permClass, const std::string& name);
bool isDeviceClass(const std::string& permClass);

// Does to a rule what the compilation does to it: a side that is given by names gets the identifiers of its names, in
// order. The flags stay.
void resolve(PolicyNode& rule, const Labels& labels);

}  // namespace policydoc

#endif
