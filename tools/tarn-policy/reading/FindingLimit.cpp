#include "reading/FindingLimit.h"

void FindingLimit::add(const SetFinding& finding) {
    if (takes(finding.weight, finding.path, finding.code)) {
        tell(finding);
    }
}

bool FindingLimit::takes(Weight weight, const std::string& path, const std::string& code) {
    Alike& alike = alike_[{path, code}];
    alike.weight = weight;
    return ++alike.count <= kMostAlike;
}

void FindingLimit::release() {
    for (const auto& [place, alike] : alike_) {
        if (alike.count > kMostAlike) {
            const std::uint64_t more = alike.count - kMostAlike;
            sink_({alike.weight, place.second, place.first, std::nullopt,
                   "and " + std::to_string(more) + " more of this kind in this file", "", 0, more});
        }
    }
    alike_.clear();
}
