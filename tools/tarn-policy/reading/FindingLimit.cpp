#include "reading/FindingLimit.h"

void FindingLimit::add(const SetFinding& finding) {
    Alike& alike = alike_[{finding.path, finding.code}];
    alike.weight = finding.weight;
    if (++alike.count <= kMostAlike) {
        sink_(finding);
    }
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
