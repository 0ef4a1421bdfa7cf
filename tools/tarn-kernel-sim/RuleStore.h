// The messages of the set that is being delivered and of the one in force, as bytes. Text is made when somebody asks.
#ifndef TARN_KERNEL_SIM_RULE_STORE_H
#define TARN_KERNEL_SIM_RULE_STORE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "libtarnmessage/FunctionTable.h"

namespace sim {

class RuleStore {
public:
    void begin() { open_.clear(); }
    void add(std::string_view message, std::uint32_t records);
    // The open set replaces the one in force.
    void commit(const tarnmessage::FunctionTable& functions);
    void abandon() { open_.clear(); }

    // The set in force.
    std::uint64_t records() const { return inForce_.records; }
    std::string messages() const;                // as they came, one after the other
    std::string text() const;                    // one line per record, sorted: equal sets give equal texts
    std::vector<std::string> variables() const;  // "namespace:variable", each once

private:
    struct Set {
        std::vector<std::string> messages;
        std::uint64_t records = 0;
        void clear();
    };

    Set open_;
    Set inForce_;
    tarnmessage::FunctionTable functions_;
};

}  // namespace sim

#endif
