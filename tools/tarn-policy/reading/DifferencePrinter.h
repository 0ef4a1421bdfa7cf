// How diff shows what it finds: text or JSON, one difference after the other, and how many of each kind there are.
#ifndef TARN_POLICY_DIFFERENCE_PRINTER_H
#define TARN_POLICY_DIFFERENCE_PRINTER_H

#include <cstdint>
#include <string>

#include "Report.h"
#include "libtarnrules/Difference.h"
#include "reading/RuleText.h"

class DifferencePrinter : public tarnrules::DifferenceVisitor {
public:
    // `brief`: counts alone. In JSON the array of the differences must be open unless it is brief.
    DifferencePrinter(Report& report, RuleWords oldWords, RuleWords newWords, bool brief)
        : report_(report), oldWords_(oldWords), newWords_(newWords), brief_(brief) {}

    bool onAdded(std::string_view form) override;
    bool onRemoved(std::string_view form) override;
    bool onChanged(std::string_view oldForm, std::string_view newForm) override;

    bool foundAny() const { return added_ + removed_ + changed_ != 0; }
    // The counts: as the last line of the text, where there is any difference, and as members of the object.
    void finish();

private:
    bool print(const char* mark, const char* kind, const char* side, std::string_view form, const RuleWords& words);

    Report& report_;
    RuleWords oldWords_;
    RuleWords newWords_;
    bool brief_;
    std::uint64_t added_ = 0;
    std::uint64_t removed_ = 0;
    std::uint64_t changed_ = 0;
};

#endif
