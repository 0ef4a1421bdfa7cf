// What verify holds against a set.
#ifndef TARN_POLICY_SET_FINDING_H
#define TARN_POLICY_SET_FINDING_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

enum class Weight : std::uint8_t {
    kNotice,      // the kernel would not notice it
    kRefused,     // the kernel, or the sender, would refuse the set
    kUnreadable,  // it can't be told
};

// What the kernel would not notice, with the reason why it is looked for. The codes of refusals are the reader's.
struct NoticeText {
    const char* code;  // stable word
    const char* meaning;
};
const std::vector<NoticeText>& noticeTable();
// The table as it stands in docs/tarn-policy.md.
std::string noticeMarkdown();

struct SetFinding {
    Weight weight = Weight::kNotice;
    std::string code;
    std::string path;
    std::optional<std::size_t> offset;
    std::string text;           // what is wrong; names in it are escaped
    std::string expected;       // what would be right
    int answer = 0;             // errno of the refused write, where the kernel refuses
    std::uint64_t omitted = 0;  // not 0: stands for so many more findings of this kind in this file
};

using FindingSink = std::function<void(const SetFinding&)>;

// "set/namemsg:24: refused: wrong magic number ..., expected 0x5a5aa5a5 [magic-number, 22 Invalid argument]"
std::string toText(const SetFinding& finding);
// An object.
std::string toJson(const SetFinding& finding);

#endif
