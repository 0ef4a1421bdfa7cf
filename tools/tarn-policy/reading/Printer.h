// How inspect shows what a walk finds. One printer for each form of output.
#ifndef TARN_POLICY_PRINTER_H
#define TARN_POLICY_PRINTER_H

#include <memory>
#include <string>

#include "Report.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnmessage/SetWalk.h"
#include "libtarnnames/RecordWords.h"

// One for each path.
class Printer : public tarnmessage::WalkVisitor {
public:
    Printer(Report& report, const tarnnames::NameBook& book, std::string folder)
        : report_(report), words_(book), folder_(std::move(folder)) {}

    void onFile(const std::string& name, std::string_view bytes) final;
    void onFileEnd(const tarnmessage::FileReport& file) final;
    bool goesOn() final { return isRead_; }

protected:
    // Before and after the records of a message; a missing or unreadable file has the latter alone.
    virtual void startMessage(std::string_view bytes, const kernelmsg::MessageHeader& header, bool hasHeader) = 0;
    virtual void endMessage(const tarnmessage::FileReport& file, std::string_view bytes) = 0;

    void write(const std::string& text) { isRead_ = report_.write(text); }
    // The file that is being shown, and the same for people.
    const std::string& path() const { return path_; }
    std::string shownPath() const { return tarnmessage::escaped(path_); }
    const tarnnames::NameBook& book() const { return words_.book(); }
    const tarnnames::RecordWords& wordsOf(const tarnmessage::PolicyRecordView& record) {
        return words_.of(record.node);
    }
    Report& report() { return report_; }

private:
    Report& report_;
    tarnnames::RecordWordsCache words_;
    std::string folder_;  // with "/" at its end; empty for a path that is a file
    std::string path_;
    std::string_view bytes_;
    bool isRead_ = true;
};

// `folder` stands before the names of the walk.
std::unique_ptr<Printer> makeTextPrinter(Report& report, const tarnnames::NameBook& book, std::string folder);
std::unique_ptr<Printer> makeHexPrinter(Report& report, const tarnnames::NameBook& book, std::string folder);
// Elements of an array that is open in the report.
std::unique_ptr<Printer> makeJsonPrinter(Report& report, const tarnnames::NameBook& book, std::string folder);
// One object a line.
std::unique_ptr<Printer> makeJsonLinesPrinter(Report& report, const tarnnames::NameBook& book, std::string folder);

// What stands against a file, in words: the finding with the kernel's answer, or the problem.
std::string whatStandsAgainst(const tarnmessage::FileReport& file);
// "policy message, 304 bytes, 2 records"
std::string messageTitle(std::size_t bytes, const kernelmsg::MessageHeader& header, bool hasHeader);

#endif
