#include "libtarnrules/RuleNames.h"

#include <algorithm>
#include <optional>

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

std::string formOf(const std::vector<std::string>& names, std::uint32_t number) {
    std::string form;
    append32(form, static_cast<std::uint32_t>(names.size()));
    for (const std::string& name : names) {
        appendText(form, name);
    }
    if (names.empty()) {
        append32(form, number);
    }
    return form;
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

RuleNames::Kept& RuleNames::keptOf(std::uint32_t number) {
    if (kept_.size() >= kMostForms && kept_.count(number) == 0) {
        kept_.clear();
    }
    const auto [place, isNew] = kept_.try_emplace(number);
    if (isNew) {
        const std::vector<std::string> names = namesOf(number);
        place->second.form = formOf(names, number);
        if (names.empty()) {
            hasMoreNameless_ = !addNameless(namelessNamespaces_, number) || hasMoreNameless_;
        }
    }
    return place->second;
}

RuleNames::Key RuleNames::namespaceKey(std::uint32_t number) {
    Kept& kept = keptOf(number);
    if (LongForms::isLong(kept.form) && kept.key.empty()) {
        kept.key = keyOf(kept.form);
    }
    return {kept.key.empty() ? kept.form : kept.key, kept.form.size()};
}

RuleNames::Key RuleNames::functionKey(const std::string& name) {
    const auto [place, isNew] = functionKeys_.try_emplace(&name);
    if (isNew) {
        place->second = keyOf(formOf({name}, 0));
    }
    return {place->second, LongForms::formBytesOf(name)};
}

// Most sets have no long names, and pay nothing for them.
std::string RuleNames::keyOf(std::string_view form) {
    if (longForms_.empty()) {
        rankLongForms();
    }
    return longForms_.keyOf(form);
}

// Whatever name may still be asked for must have its rank before the first key is made.
void RuleNames::rankLongForms() {
    std::set<std::uint32_t> numbers;
    for (const tarnnames::NameBook* book : {book_, other_}) {
        if (book != nullptr) {
            const std::vector<std::uint32_t> named = book->namedNumbers();
            numbers.insert(named.begin(), named.end());
        }
    }
    const std::vector<std::uint32_t> announced = announced_->numbers();
    numbers.insert(announced.begin(), announced.end());
    for (const std::uint32_t number : numbers) {
        longForms_.add(formOf(namesOf(number), number));
        for (const std::optional<std::string>& function : book_->functionsOf(number).functions(number)) {
            longForms_.add(function ? formOf({*function}, 0) : "");
        }
    }
    longForms_.rank();
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
