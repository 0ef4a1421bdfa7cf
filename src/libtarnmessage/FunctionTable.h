// The functions that a namespace message announced, by name number of the namespace.
#ifndef TARN_MESSAGE_FUNCTION_TABLE_H
#define TARN_MESSAGE_FUNCTION_TABLE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "libtarnmessage/MessageViews.h"

namespace tarnmessage {

// Asked with parts of texts, too, which need not be copied for that.
using NameSet = std::set<std::string, std::less<>>;

class FunctionTable {
public:
    struct Namespace {
        std::string name;
        std::vector<std::string> functions;  // "module:function"; function number 1 stands first
    };

    // Whose the numbers of the functions are: those of a set, or made up for a record alone, so that they tell people nothing.
    enum class Numbers : std::uint8_t { kOfSet, kMadeUp };
    explicit FunctionTable(Numbers kind = Numbers::kOfSet) : kind_(kind) {}
    Numbers kind() const { return kind_; }

    // Namespaces with one number can't be told apart in a record: their names are all kept, and a function has a name where
    // those that have its number agree.
    void add(const NamespaceView& block);
    void add(std::uint32_t nameId, Namespace entry);

    // Empty for a number that was not announced.
    const NameSet& names(std::uint32_t nameId) const;
    // Null for a number that was not announced, or for several functions.
    const std::string* findFunction(std::uint32_t nameId, std::uint32_t functionId) const;

    // Of the functions of a number, in the order of theirs.
    const std::vector<std::optional<std::string>>& functions(std::uint32_t nameId) const;

    // All that were announced, in no order.
    std::vector<std::uint32_t> numbers() const;
    // The numbers under which a name was announced.
    std::vector<std::uint32_t> numbersOf(const std::string& name) const;

    // The greatest function number of a namespace, 0 when it was not announced.
    std::uint32_t functionCount(std::uint32_t nameId) const;
    bool empty() const { return numbers_.empty(); }

    bool operator==(const FunctionTable& other) const { return numbers_ == other.numbers_; }

private:
    struct Number {
        NameSet names;
        std::vector<std::optional<std::string>> functions;  // none where the namespaces disagree

        bool operator==(const Number& other) const { return names == other.names && functions == other.functions; }
    };

    const Number* find(std::uint32_t nameId) const;

    Numbers kind_;
    std::unordered_map<std::uint32_t, Number> numbers_;
};

}  // namespace tarnmessage

#endif
