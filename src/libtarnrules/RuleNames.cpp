#include "libtarnrules/RuleNames.h"

#include <algorithm>

#include "Common/Common.h"
#include "libtarnrules/FormBytes.h"

namespace tarnrules {

namespace {

// Adds to a set that has room. False where it has none and the number is not there yet.
template <typename Number>
bool addNameless(std::set<Number>& nameless, const Number& number) {
    if (nameless.size() < RuleNames::kMostNameless) {
        nameless.insert(number);
        return true;
    }
    return nameless.count(number) != 0;
}

}  // namespace

std::vector<std::string> RuleNames::namesOf(std::uint32_t number) const {
    const tarnmessage::NameSet& announced = announced_->names(number);
    if (!announced.empty()) {
        return {announced.begin(), announced.end()};
    }
    std::vector<std::string> names = book_->namespaceNames(number);
    if (names.empty() && other_ != nullptr) {
        for (const std::string& name : other_->namespaceNames(number)) {
            if (stringToId(name.c_str()) == number) {
                names.push_back(name);
            }
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

const std::string& RuleNames::namespaceForm(std::uint32_t number) {
    if (forms_.size() >= kMostForms && forms_.count(number) == 0) {
        forms_.clear();
    }
    const auto [place, isNew] = forms_.try_emplace(number);
    if (isNew) {
        const std::vector<std::string> names = namesOf(number);
        append32(place->second, static_cast<std::uint32_t>(names.size()));
        for (const std::string& name : names) {
            appendText(place->second, name);
        }
        if (names.empty()) {
            append32(place->second, number);
            hasMoreNameless_ = !addNameless(namelessNamespaces_, number) || hasMoreNameless_;
        }
    }
    return place->second;
}

const std::string* RuleNames::functionName(std::uint32_t namespaceNumber, std::uint32_t functionNumber) {
    const std::string* name = book_->functionsOf(namespaceNumber).findFunction(namespaceNumber, functionNumber);
    if (name == nullptr) {
        hasMoreNameless_ =
            !addNameless(namelessFunctions_, std::make_pair(namespaceNumber, functionNumber)) || hasMoreNameless_;
    }
    return name;
}

}  // namespace tarnrules
