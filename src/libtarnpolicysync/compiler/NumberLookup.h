// The numbers that records carry in the place of names. A compiler thread asks for each of them once and remembers it: a
// number that was given does not change while a compilation runs.
#ifndef TARN_COMPILER_NUMBER_LOOKUP_H
#define TARN_COMPILER_NUMBER_LOOKUP_H

#include <array>
#include <map>
#include <string>
#include <string_view>

#include "libtarnpolicysync/core/ManagerPrivate.h"

class PolicyModuleManagerInterface::Private::NumberLookup {
public:
    struct Permission {
        int classValue = 0;
        int permValue = 0;
    };

    explicit NumberLookup(PolicyModuleManagerInterface& manager) : manager_(manager) {}

    // As transPerm, getNameId and getFuncId, which log what they refuse; `result` is set on status 0 alone.
    int permission(const std::string& className, const std::string& permName, Permission& result);
    int nameNumber(const std::string& nameSpace, int& result);
    int functionNumber(const PolicyNode& rule, const std::string& function, int& result);

private:
    using Key = std::array<std::string, 3>;
    using KeyView = std::array<std::string_view, 3>;
    struct Less {
        using is_transparent = void;
        static KeyView view(const Key& key) { return {key[0], key[1], key[2]}; }
        static const KeyView& view(const KeyView& key) { return key; }
        template <typename Left, typename Right>
        bool operator()(const Left& left, const Right& right) const {
            return view(left) < view(right);
        }
    };

    // Answers by up to three names. Rules come in runs, so the last answer is looked at first.
    template <typename Answer>
    class Memory {
    public:
        const Answer* find(const KeyView& key) {
            if (last_ != nullptr && Less::view(last_->first) == key) {
                return &last_->second;
            }
            const auto found = answers_.find(key);
            last_ = found == answers_.end() ? nullptr : &*found;
            return last_ == nullptr ? nullptr : &last_->second;
        }
        void store(const KeyView& key, const Answer& answer) {
            answers_.emplace(Key{std::string(key[0]), std::string(key[1]), std::string(key[2])}, answer);
        }

    private:
        std::map<Key, Answer, Less> answers_;
        const std::pair<const Key, Answer>* last_ = nullptr;
    };

    // The remembered answer, or the one that `ask` gives, which is remembered unless it refuses.
    template <typename Answer, typename Ask>
    static int lookUp(Memory<Answer>& memory, const KeyView& key, Answer& result, Ask ask) {
        if (const Answer* known = memory.find(key)) {
            result = *known;
            return 0;
        }
        Answer answer{};
        const int status = ask(answer);
        if (status == 0) {
            memory.store(key, answer);
            result = answer;
        }
        return status;
    }

    PolicyModuleManagerInterface& manager_;
    Memory<Permission> permissions_;
    Memory<int> names_;
    Memory<int> functions_;
};

#endif
