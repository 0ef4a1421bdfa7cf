// The names that stand in the canonical form of a rule in place of the numbers that its set gives them.
#ifndef TARN_RULES_RULE_NAMES_H
#define TARN_RULES_RULE_NAMES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "libtarnmessage/FunctionTable.h"
#include "libtarnnames/NameBook.h"
#include "libtarnrules/LongForms.h"

namespace tarnrules {

class RuleNames {
public:
    // `announced` is what the set's own namespace message says; it goes before everything else that the book knows.
    // Both must outlive this and no longer change.
    RuleNames(const tarnnames::NameBook& book, const tarnmessage::FunctionTable& announced)
        : book_(&book), announced_(&announced) {}

    // The book of another set, to which this one is compared. A number without a name here gets the name that it has
    // there, where that is certain: where the number is the name's checksum.
    void alsoAsk(const tarnnames::NameBook& other) { other_ = &other; }

    // Numbers may be made up, and each of millions of records may have another one: no more than so many are kept.
    static constexpr std::size_t kMostForms = 4096;
    static constexpr std::size_t kMostNameless = 100;  // namespaces, and as many functions

    // As the canonical form writes it: the names and how many, or none and the number. Valid until the next call.
    const std::string& namespaceForm(std::uint32_t number) { return keptOf(number).form; }
    std::size_t keptForms() const { return kept_.size(); }
    // The function's name "module:function"; null where nobody tells.
    const std::string* functionName(std::uint32_t namespaceNumber, std::uint32_t functionNumber);

    // What stands for them in keys, and how long it would be with the names written out. Valid until the next call.
    struct Key {
        std::string_view bytes;
        std::size_t formBytes = 0;
    };
    Key namespaceKey(std::uint32_t number);
    // `name` is one of functionName() whose form is long.
    Key functionKey(const std::string& name);
    // What keys hold in place of names. Empty where they hold all of them whole.
    const LongForms& longForms() const { return longForms_; }

    // Numbers that got no name so far, at most kMostNameless of each kind.
    const std::set<std::uint32_t>& namelessNamespaces() const { return namelessNamespaces_; }
    // Namespace number and function number.
    const std::set<std::pair<std::uint32_t, std::uint32_t>>& namelessFunctions() const { return namelessFunctions_; }
    // Whether there are more.
    bool hasMoreNameless() const { return hasMoreNameless_; }

private:
    struct Kept {
        std::string form;
        std::string key;  // of a long form; empty until it is asked for
    };

    Kept& keptOf(std::uint32_t number);
    std::vector<std::string> namesOf(std::uint32_t number) const;
    std::string keyOf(std::string_view form);
    void rankLongForms();

    const tarnnames::NameBook* book_;
    const tarnmessage::FunctionTable* announced_;
    const tarnnames::NameBook* other_ = nullptr;
    std::map<std::uint32_t, Kept> kept_;
    std::unordered_map<const std::string*, std::string> functionKeys_;
    LongForms longForms_;
    std::set<std::uint32_t> namelessNamespaces_;
    std::set<std::pair<std::uint32_t, std::uint32_t>> namelessFunctions_;
    bool hasMoreNameless_ = false;
};

}  // namespace tarnrules

#endif
