// The functions that a namespace message announced, by name number of the namespace.
#ifndef TARN_MESSAGE_FUNCTION_TABLE_H
#define TARN_MESSAGE_FUNCTION_TABLE_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "libtarnmessage/MessageViews.h"

namespace tarnmessage {

class FunctionTable {
public:
    struct Namespace {
        std::string name;
        std::vector<std::string> functions;  // "module:function"; function number 1 stands first
    };

    // Two namespaces with one number can't be told apart in a record; the one with more functions stays.
    void add(const NamespaceView& block);
    void add(std::uint32_t nameId, Namespace entry);

    // Null for a number that was not announced.
    const Namespace* find(std::uint32_t nameId) const;
    const std::string* findFunction(std::uint32_t nameId, std::uint32_t functionId) const;

    // The numbers under which a name was announced.
    std::vector<std::uint32_t> numbersOf(const std::string& name) const;

    // The greatest function number of a namespace, 0 when it was not announced.
    std::uint32_t functionCount(std::uint32_t nameId) const;
    bool empty() const { return namespaces_.empty(); }

private:
    std::unordered_map<std::uint32_t, Namespace> namespaces_;
};

}  // namespace tarnmessage

#endif
