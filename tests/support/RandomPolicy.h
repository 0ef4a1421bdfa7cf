// Seeded random rule sets: several keys, namespaces and groups, conditions of every code, actions, parameters, special
// identifiers, empty lists. The same seed gives the same set on every machine.
#ifndef TARN_TESTS_RANDOM_POLICY_H
#define TARN_TESTS_RANDOM_POLICY_H

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/Model.h"

namespace model {

struct Shape {
    std::size_t keys = 3;
    std::size_t rulesPerKey = 20;    // at most
    std::size_t listLength = 4;      // identifiers on one side of a rule, at most
    std::size_t conditionDepth = 4;  // levels of operators, at most
    std::size_t actions = 3;         // at most
    std::size_t parameters = 3;      // of one call, at most
};

struct Policy {
    Numbers numbers;
    Namespaces namespaces;  // with their functions, for registration
    Groups groups;
};

class RandomPolicy {
public:
    explicit RandomPolicy(std::uint32_t seed) : engine_(seed) {}

    Policy policy(const Shape& shape = {});
    PolicyNode rule(const Policy& policy, const Shape& shape);
    std::vector<ExprNode> condition(const PolicyNode& rule, const Policy& policy, const Shape& shape);
    TARN_ID identifier();
    // 0 to limit - 1. (The distributions of the standard library differ between implementations.)
    std::size_t below(std::size_t limit);

private:
    std::string text(std::size_t longest);
    FuncParam parameter();
    std::vector<FuncParam> parameters(const Shape& shape);
    ExprNode operand(const PolicyNode& rule, const Policy& policy, const Shape& shape);
    void appendExpression(std::vector<ExprNode>& postfix, std::size_t depth, const PolicyNode& rule,
                          const Policy& policy, const Shape& shape);
    std::string function(const PolicyNode& rule, const Policy& policy);

    std::mt19937 engine_;
};

}  // namespace model

#endif
