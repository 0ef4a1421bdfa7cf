// A policy record made again from its canonical form, so that it can be shown by what shows records. Its function numbers
// are its own, one for each call.
#ifndef TARN_RULES_REBUILT_RECORD_H
#define TARN_RULES_REBUILT_RECORD_H

#include <string>
#include <string_view>
#include <vector>

#include "libtarnmessage/FunctionTable.h"
#include "libtarnmessage/MessageViews.h"

namespace tarnrules {

class RebuiltRecord {
public:
    // The form must come from writeForm.
    explicit RebuiltRecord(std::string_view form);
    RebuiltRecord(const RebuiltRecord&) = delete;
    RebuiltRecord& operator=(const RebuiltRecord&) = delete;

    // Without the bytes of the record as a whole.
    const tarnmessage::PolicyRecordView& view() const { return view_; }
    // The names of the functions that the record calls; a function without a known name is "function#3".
    const tarnmessage::FunctionTable& functions() const { return functions_; }

    // The names of its namespace. None where nobody told; then the number is that of the record.
    const std::vector<std::string>& namespaceNames() const { return namespaceNames_; }

private:
    std::string bytes_;  // of condition and actions
    std::vector<std::string> namespaceNames_;
    tarnmessage::FunctionTable functions_{tarnmessage::FunctionTable::Numbers::kMadeUp};
    tarnmessage::PolicyRecordView view_;
};

}  // namespace tarnrules

#endif
