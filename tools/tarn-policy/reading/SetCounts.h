// Counts what stands in a set.
#ifndef TARN_POLICY_SET_COUNTS_H
#define TARN_POLICY_SET_COUNTS_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "libtarnmessage/SetWalk.h"
#include "libtarnnames/RecordWords.h"

// Records of one file that share namespace, class and permission. All names are texts for people.
struct CountRow {
    std::string file;
    std::string group;
    std::string nameSpace;
    std::string permClass;
    std::string permission;
    std::uint64_t records = 0;
};

struct FileCount {
    std::string file;
    std::string type;
    std::uint64_t bytes = 0;
    std::uint64_t records = 0;
};

class SetCounts : public tarnmessage::WalkVisitor {
public:
    explicit SetCounts(const tarnnames::NameBook& book) : words_(book) {}

    void onFile(const std::string& name, std::string_view bytes) override;
    void onPolicy(const tarnmessage::PolicyRecordView& record) override;
    void onFileEnd(const tarnmessage::FileReport& file) override;

    // Numbers and names may be made up, and every record may have others. What goes beyond these bounds is summed up under
    // kOthers: rows of one file, rows of the set (for all further files one row each), names of one column.
    static constexpr std::size_t kMostRowsOfFile = 4096;
    static constexpr std::size_t kMostRows = 100000;
    static constexpr std::size_t kMostNames = 10000;
    static constexpr char kOthers[] = "(others)";
    static constexpr std::size_t kMostNameBytes = 255;  // of each name in a row; what is longer is cut and says so

    const std::vector<CountRow>& rows() const { return rows_; }
    const std::vector<FileCount>& files() const { return files_; }

    // Records by one column, or by file, the most first.
    using Column = std::string CountRow::*;
    using Bars = std::vector<std::pair<std::string, std::uint64_t>>;
    Bars by(Column column) const;
    Bars byFile() const;

    // Policy messages by how full they are, in tenths: by their records or their bytes, whichever is nearer to the bound.
    static constexpr std::size_t kTenths = 10;
    const std::array<std::uint64_t, kTenths>& fill() const { return fill_; }

    // Records by size: below 128 bytes, 256, 512 and so on; the last counts all larger ones.
    static constexpr std::size_t kSizes = 8;
    static std::string sizeName(std::size_t index);
    const std::array<std::uint64_t, kSizes>& sizes() const { return sizes_; }

    std::uint64_t records() const { return records_; }
    std::uint64_t bytes() const { return bytes_; }

private:
    using Numbers = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;
    using Sums = std::map<std::string, std::uint64_t>;

    static constexpr std::size_t kColumns = 4;
    static constexpr std::array<Column, kColumns> kSummed{&CountRow::group, &CountRow::nameSpace, &CountRow::permClass,
                                                          &CountRow::permission};

    void startFile();
    const std::string& namespaceText(std::uint32_t number, const tarnnames::SharedNames& names);
    CountRow& rowOf(const tarnmessage::PolicyRecordView& record, const Numbers& numbers);
    void keepRows(const std::string& file);
    void addToSums(const CountRow& row);
    static Bars sorted(Bars bars);

    tarnnames::RecordWordsCache words_;
    // By number and how many names it has, which may be very many.
    std::map<std::pair<std::uint32_t, std::size_t>, std::string> namespaceTexts_;
    std::map<Numbers, CountRow> ofFile_;
    std::optional<CountRow> othersOfFile_;
    Numbers lastNumbers_;
    CountRow* lastRow_ = nullptr;  // of these numbers; null before the first record of a file
    std::uint64_t recordsOfFile_ = 0;
    std::vector<CountRow> rows_;
    std::array<Sums, kColumns> sums_;
    std::vector<FileCount> files_;
    std::array<std::uint64_t, kTenths> fill_{};
    std::array<std::uint64_t, kSizes> sizes_{};
    std::uint64_t records_ = 0;
    std::uint64_t bytes_ = 0;
};

#endif
