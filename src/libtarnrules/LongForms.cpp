#include "libtarnrules/LongForms.h"

#include <algorithm>
#include <utility>

#include "libtarnrules/FormBytes.h"

namespace tarnrules {

namespace {

// The length of a form that ends within its first kMostWhole bytes; more where it does not.
std::size_t lengthOf(std::string_view start) {
    FormReader reader(start);
    const std::uint32_t names = reader.take32();
    std::size_t length = 2 * sizeof names;  // of one without names
    for (std::uint32_t index = 0; index < names && length <= LongForms::kMostWhole; ++index) {
        length = reader.position() + sizeof names;
        if (length <= LongForms::kMostWhole) {
            static_cast<void>(reader.takeText());
            length = reader.position();
        }
    }
    return length;
}

}  // namespace

void LongForms::add(std::string form) {
    if (isLong(form)) {
        forms_.push_back(std::move(form));
    }
}

void LongForms::rank() {
    std::sort(forms_.begin(), forms_.end());
    forms_.erase(std::unique(forms_.begin(), forms_.end()), forms_.end());
}

std::string LongForms::keyOf(std::string_view form) const {
    const auto place = std::lower_bound(forms_.begin(), forms_.end(), form);
    std::string key(form.substr(0, kMostWhole));
    append32(key, static_cast<std::uint32_t>(place - forms_.begin()));
    return key;
}

LongForms::Found LongForms::find(std::string_view key) const {
    const std::size_t length = lengthOf(key.substr(0, kMostWhole));
    if (length <= kMostWhole) {
        return {length, key.substr(0, length)};
    }
    FormReader rank(key.substr(kMostWhole));
    const std::string& form = forms_[rank.take32()];
    return {kMostWhole + rank.position(), form};
}

}  // namespace tarnrules
