#include "libtarnrules/Difference.h"

#include "libtarnrules/CanonicalForm.h"

namespace tarnrules {

namespace {

// Unmatched rules of one identity that wait for a partner take no more than this. What exceeds it is told as removed or
// added instead of changed, which says the same in more words.
constexpr std::size_t kMostWaitingBytes = std::size_t{32} << 20U;

// Pairs the rules that are in one set only.
class Pairing {
public:
    explicit Pairing(DifferenceVisitor& visitor) : visitor_(visitor) {}

    // In ascending order over both sides. False where the visitor has had enough.
    bool add(std::string_view form, bool isNew) {
        const std::string_view identity = identityOf(form);
        if (identity != identity_) {
            if (!release()) {
                return false;
            }
            identity_ = identity;
        }
        if (!waiting_.empty() && isNew_ != isNew) {
            return pair(form);
        }
        isNew_ = isNew;
        waiting_.emplace_back(form);
        bytes_ += form.size();
        return bytes_ <= kMostWaitingBytes || releaseFirst();
    }

    // Tells what found no partner.
    bool release() {
        while (!waiting_.empty()) {
            if (!releaseFirst()) {
                return false;
            }
        }
        return true;
    }

private:
    std::string takeFirst() {
        std::string first = std::move(waiting_.front());
        waiting_.pop_front();
        bytes_ -= first.size();
        return first;
    }
    bool pair(std::string_view form) {
        const std::string first = takeFirst();
        return isNew_ ? visitor_.onChanged(form, first) : visitor_.onChanged(first, form);
    }
    bool releaseFirst() {
        const std::string first = takeFirst();
        return isNew_ ? visitor_.onAdded(first) : visitor_.onRemoved(first);
    }

    DifferenceVisitor& visitor_;
    std::string identity_;
    std::deque<std::string> waiting_;  // all of one side
    bool isNew_ = false;
    std::size_t bytes_ = 0;
};

// The rules of one set, one ahead.
class Front {
public:
    explicit Front(RuleSet& rules) : rules_(rules) { advance(); }

    void advance() { isThere_ = rules_.next(form_); }
    bool isThere() const { return isThere_; }
    std::string_view form() const { return form_; }

private:
    RuleSet& rules_;
    std::string_view form_;
    bool isThere_ = false;
};

}  // namespace

void compareRules(RuleSet& oldRules, RuleSet& newRules, DifferenceVisitor& visitor) {
    Pairing pairing(visitor);
    Front before(oldRules);
    Front after(newRules);
    while (before.isThere() || after.isThere()) {
        const int order = !after.isThere() ? -1 : !before.isThere() ? 1 : before.form().compare(after.form());
        if (order < 0 && !pairing.add(before.form(), false)) {
            return;
        }
        if (order > 0 && !pairing.add(after.form(), true)) {
            return;
        }
        if (order <= 0) {
            before.advance();
        }
        if (order >= 0) {
            after.advance();
        }
    }
    static_cast<void>(pairing.release());
}

}  // namespace tarnrules
