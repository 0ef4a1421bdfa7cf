// Looks at every message of a walk as the kernel would, and at what the kernel would not notice.
#ifndef TARN_POLICY_SET_CHECK_H
#define TARN_POLICY_SET_CHECK_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "libtarnmessage/SetWalk.h"
#include "libtarnnames/NameBook.h"
#include "reading/FindingLimit.h"

class SetCheck : public tarnmessage::WalkVisitor {
public:
    struct Options {
        std::string folder;         // before the names, with "/"
        bool isDirectory = false;   // a whole set, not a single message
        bool looksAtModes = false;  // and owners
    };

    SetCheck(const tarnnames::NameBook& book, Options options, FindingLimit& limit)
        : book_(book), options_(std::move(options)), limit_(limit), names_(book) {}

    void onFile(const std::string& name, std::string_view bytes) override;
    void onHeader(const kernelmsg::MessageHeader& header) override;
    void onNamespace(const tarnmessage::NamespaceView& block) override;
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        const Numbers numbers{record.nameId(), record.node.permClass, record.node.perm};
        if (!hasLast_ || numbers != last_) {
            checkNumbers(record, numbers);
        }
        if (record.node.exprCount != 0) {
            checkVariables(record);
        }
    }
    void onFileEnd(const tarnmessage::FileReport& file) override;
    void onPassedOver(const std::string& name, tarnmessage::PassedOver why) override;

    // After the walk.
    void finish();

    std::uint64_t bytes() const { return bytes_; }
    std::uint64_t refused() const { return refused_; }
    std::uint64_t unreadable() const { return unreadable_; }
    std::uint64_t notices() const { return notices_; }

private:
    using Numbers = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;  // namespace, class, permission

    void checkNumbers(const tarnmessage::PolicyRecordView& record, const Numbers& numbers);
    void checkNamespaceOf(const tarnmessage::PolicyRecordView& record);
    void checkClassOf(const tarnmessage::PolicyRecordView& record);
    void checkVariables(const tarnmessage::PolicyRecordView& record);
    bool hasPlaceInFileName(std::uint32_t number);
    bool isOfLastNamespace(std::string_view variable) const;
    void checkNameNumber(const tarnmessage::NamespaceView& block, const std::string& name);
    void checkPin(const tarnmessage::NamespaceView& block, const std::string& name);
    void checkFunctions(const tarnmessage::NamespaceView& block);
    void addProblem(const tarnmessage::FileReport& file);
    void checkSeries(const tarnmessage::FileReport& file);
    void checkSceneNumbers();
    void checkMode(const std::string& path, const tarnmessage::FileStatus& status, mode_t most);
    bool exists(const std::string& name) const;

    // Counts a finding in the file at hand. True where it is told.
    bool isTold(Weight weight, const char* code);
    void add(SetFinding finding);
    void notice(const char* code, std::optional<std::size_t> offset, std::string text, std::string expected);

    const tarnnames::NameBook& book_;
    Options options_;
    FindingLimit& limit_;

    std::string path_;        // of the file
    std::string pathOfLast_;  // finding; those of a file come one after the other
    bool hasLast_ = false;
    Numbers last_;
    std::set<Numbers> seen_;                        // in this file
    std::uint32_t firstNameId_ = 0;                 // of this file
    std::map<std::uint32_t, bool> hasPlace_;        // of namespaces, in the name of this file
    tarnnames::FileNameWords words_;                // of this file's name
    tarnnames::NamespaceNames names_;               // of all namespaces
    tarnnames::SharedNames lastNames_;              // of the last namespace
    std::map<std::string, std::size_t> announced_;  // namespaces, with the offsets of their first blocks
    struct FirstBlock {
        std::string name;
        std::size_t offset = 0;
    };
    std::map<std::uint32_t, FirstBlock> numbers_;  // of the namespaces

    bool hasNamespaceMessage_ = false;
    std::uint64_t policies_ = 0;  // messages
    std::uint64_t bytes_ = 0;
    std::uint64_t refused_ = 0;
    std::uint64_t unreadable_ = 0;
    std::uint64_t notices_ = 0;
};

#endif
