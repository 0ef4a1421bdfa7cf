// What stands in the key of a form (CanonicalForm.h) in place of long names: their first bytes and their rank among all that
// are long. The names of one namespace, or that of a function, are one form here: their number and each behind its length.
// None is the start of another, so that the order of what stands for them is theirs. Internal to this folder.
#ifndef TARN_RULES_LONG_FORMS_H
#define TARN_RULES_LONG_FORMS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarnrules {

class LongForms {
public:
    // Forms of no more bytes stand as they are; of longer ones, so many.
    static constexpr std::size_t kMostWhole = 40;
    static bool isLong(std::string_view form) { return form.size() > kMostWhole; }
    // Of the form of one name: behind the number of names, and its length.
    static std::size_t formBytesOf(std::string_view name) { return 2 * sizeof(std::uint32_t) + name.size(); }

    // Those that are not long are passed over.
    void add(std::string form);
    // After the last one.
    void rank();

    bool empty() const { return forms_.empty(); }
    // What stands for one of them in keys.
    std::string keyOf(std::string_view form) const;
    // What stands at the start of these bytes of a key: how many bytes, and of which form.
    struct Found {
        std::size_t length = 0;
        std::string_view form;
    };
    Found find(std::string_view key) const;

private:
    std::vector<std::string> forms_;  // in ascending order
};

}  // namespace tarnrules

#endif
