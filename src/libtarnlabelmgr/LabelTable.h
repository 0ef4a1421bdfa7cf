// The table from which the substitute label manager answers: a JSON file with the identifiers of every name.
//
//     {"format": "tarn-labels", "version": 1,
//      "labels": {"subject_file": {"/usr/sbin/nginx": [[1, 2, 3], ["0x10", "17", 18]]}},
//      "devices": {"/dev/sda": [1, 2, 3]},
//      "modules": {"ext4": [1, 2, 4]}}
//
// An identifier is three unsigned 64-bit words, each a number, or a text in decimal or with 0x.
#ifndef TARN_LABEL_TABLE_H
#define TARN_LABEL_TABLE_H

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"

namespace labeltable {

// Where the label manager finds its table.
inline constexpr char kPath[] = "/etc/tarn/labels.json";

// Statuses, which the label manager returns as they are. They lie above every errno, so that a host can tell them from
// a refusal of the kernel.
inline constexpr int kOk = 0;
inline constexpr int kUnreadable = 201;    // the file is missing, is no regular file, or can't be read
inline constexpr int kNoJson = 202;        // the content is not one JSON value, or a member stands there twice
inline constexpr int kBadContent = 203;    // a part of the table is not what it should be
inline constexpr int kOtherVersion = 204;  // the table has another format or version
inline constexpr int kNoMemory = 205;      // memory ran out

using Labels = std::unordered_map<std::string, std::vector<TARN_ID>>;
using Oids = std::unordered_map<std::string, TARN_ID>;

struct Table {
    std::map<std::string, Labels> kinds;
    Oids devices;
    Oids modules;
};

// Both replace the output on success only; otherwise `problem` says where it lies and what is expected, without the
// path of the file. They log nothing and throw nothing. Any thread may call them.
int readText(const std::string& path, std::string& text, std::string& problem) noexcept;
int parse(const std::string& text, Table& table, std::string& problem) noexcept;

// readText and parse in one; `problem` begins with the path.
int load(const std::string& path, Table& table, std::string& problem) noexcept;

}  // namespace labeltable

#endif
