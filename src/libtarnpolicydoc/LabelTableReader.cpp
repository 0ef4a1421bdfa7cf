#include "libtarnlabelmgr/LabelTable.h"
#include "libtarnpolicydoc/Labels.h"
#include "libtarnpolicydoc/Report.h"

namespace policydoc {

// The substitute's own reader, so that a table that passes here is one that it will answer from.
std::optional<Labels> readLabelTable(const std::string& path, Diagnostics& diagnostics) {
    labeltable::Table table;
    std::string problem;
    const int status = labeltable::load(path, table, problem);
    if (status != labeltable::kOk) {
        const Reporter report(&diagnostics, path);
        report.mistake(Path(), 0,
                       {"label-table", problem, "a label table as docs/label-table.md describes it",
                        status == labeltable::kUnreadable ? "name a file that can be read" : "correct the table"});
        return std::nullopt;
    }
    Labels labels;
    for (auto& [kind, names] : table.kinds) {
        labels.names[kind].insert(names.begin(), names.end());
    }
    labels.devices.insert(table.devices.begin(), table.devices.end());
    labels.modules.insert(table.modules.begin(), table.modules.end());
    return labels;
}

}  // namespace policydoc
