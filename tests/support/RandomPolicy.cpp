#include "support/RandomPolicy.h"

namespace model {

namespace {

// A namespace with functions of two modules, one with a pinned number, one that numbers its function differently, one
// without functions.
Policy emptyPolicy() {
    Policy policy;
    policy.numbers.classes = {
        {"file", {1, {{"read", 1}, {"write", 2}, {"exec", 4}}}},
        {"dir", {2, {{"list", 1}, {"add", 0x80000000U}}}},
        {"process", {3, {{"kill", 7}}}},
        {"usb", {40, {{"use", 1}}}},
        {"kmod", {41, {{"load", 1}}}},
    };
    policy.numbers.names = {{"pinned", 7}};
    policy.namespaces = {
        {"net", {"netmod:check", "netmod:log", "othermod:check"}},
        {"pinned", {"m:f"}},
        {"a_b", {"m:g", "m:f"}},
        {"bare", {}},
    };
    for (const auto& [nameSpace, entries] : policy.namespaces) {
        std::uint32_t number = 0;
        for (const std::string& entry : entries) {
            const std::size_t colon = entry.find(':');
            policy.numbers.functions[{nameSpace, entry.substr(0, colon), entry.substr(colon + 1)}] = ++number;
        }
    }
    return policy;
}

}  // namespace

std::size_t RandomPolicy::below(std::size_t limit) {
    return limit == 0 ? 0 : engine_() % limit;
}

std::string RandomPolicy::text(std::size_t longest) {
    std::string result(below(longest + 1), '\0');
    for (char& character : result) {
        character = static_cast<char>(below(256));
    }
    return result;
}

TARN_ID RandomPolicy::identifier() {
    TARN_ID id{};
    for (std::uint64_t& word : id.uiWord) {
        word = (static_cast<std::uint64_t>(engine_()) << 32U) | engine_();
    }
    if (below(4) == 0) {
        id.uiWord[0] = ~std::uint64_t{0};
    }
    return id;
}

FuncParam RandomPolicy::parameter() {
    FuncParam result;
    result.uiParamType = 2 + static_cast<unsigned int>(below(2));
    // The encoder must take only the one that the type names.
    result.iData = static_cast<std::int64_t>((static_cast<std::uint64_t>(engine_()) << 32U) | engine_());
    result.strData = text(20);
    return result;
}

std::vector<FuncParam> RandomPolicy::parameters(const Shape& shape) {
    std::vector<FuncParam> result(below(shape.parameters + 1));
    for (FuncParam& one : result) {
        one = parameter();
    }
    return result;
}

std::string RandomPolicy::function(const PolicyNode& rule, const Policy& policy) {
    std::vector<std::string> known;
    for (const auto& [key, number] : policy.numbers.functions) {
        if (std::get<0>(key) == rule.strNamespace && std::get<1>(key) == rule.strModuleName) {
            known.push_back(std::get<2>(key));
        }
    }
    return known.empty() ? std::string() : known[below(known.size())];
}

ExprNode RandomPolicy::operand(const PolicyNode& rule, const Policy& policy, const Shape& shape) {
    static const std::vector<unsigned int> kCodes{0, 4, 11, 12, 13, 0xFFFFFFFFU};
    ExprNode node(kCodes[below(kCodes.size())], function(rule, policy), static_cast<unsigned int>(engine_()));
    if (node.uiExprType == 4 && node.strFuncName.empty()) {
        node.uiExprType = 11;
    }
    node.strVarName = text(12);
    // Parameters are written for every code.
    if (node.uiExprType == 4 || below(5) == 0) {
        node.vecParam = parameters(shape);
    }
    return node;
}

void RandomPolicy::appendExpression(std::vector<ExprNode>& postfix, std::size_t depth, const PolicyNode& rule,
                                    const Policy& policy, const Shape& shape) {
    static const std::vector<unsigned int> kBinary{2, 3, 5, 6, 7, 8, 9, 10};
    const std::size_t kind = depth == 0 ? 0 : below(3);
    if (kind == 0) {
        postfix.push_back(operand(rule, policy, shape));
        return;
    }
    appendExpression(postfix, depth - 1, rule, policy, shape);
    if (kind == 2) {
        appendExpression(postfix, depth - 1, rule, policy, shape);
    }
    postfix.emplace_back(kind == 1 ? 1U : kBinary[below(kBinary.size())], "", static_cast<unsigned int>(engine_()));
}

std::vector<ExprNode> RandomPolicy::condition(const PolicyNode& rule, const Policy& policy, const Shape& shape) {
    std::vector<ExprNode> postfix;
    if (below(3) != 0) {
        appendExpression(postfix, shape.conditionDepth, rule, policy, shape);
    }
    return postfix;
}

PolicyNode RandomPolicy::rule(const Policy& policy, const Shape& shape) {
    static const std::vector<std::string> kGroups{"", "g", "group", "c_d"};
    PolicyNode rule;
    rule.uiAttrA = static_cast<unsigned int>(engine_());
    rule.uiAttrB = static_cast<unsigned int>(engine_());
    for (unsigned int& word : rule.uiExt) {
        word = static_cast<unsigned int>(engine_());
    }
    rule.vecSubjectId.resize(below(shape.listLength + 1));
    rule.vecObjectId.resize(below(shape.listLength + 1));
    for (std::vector<TARN_ID>* list : {&rule.vecSubjectId, &rule.vecObjectId}) {
        for (TARN_ID& id : *list) {
            id = identifier();
        }
    }
    auto permissionClass = policy.numbers.classes.begin();
    std::advance(permissionClass, static_cast<std::ptrdiff_t>(below(policy.numbers.classes.size())));
    auto perm = permissionClass->second.perms.begin();
    std::advance(perm, static_cast<std::ptrdiff_t>(below(permissionClass->second.perms.size())));
    rule.sPermClass = permissionClass->first;
    rule.sPerm = perm->first;

    const auto& [nameSpace, entries] = policy.namespaces[below(policy.namespaces.size())];
    rule.strNamespace = nameSpace;
    rule.strGroup = kGroups[below(kGroups.size())];
    if (!entries.empty()) {
        const std::string& entry = entries[below(entries.size())];
        rule.strModuleName = entry.substr(0, entry.find(':'));
    }
    rule.vecExpr = condition(rule, policy, shape);
    if (!entries.empty()) {
        rule.vecDoFunc.resize(below(shape.actions + 1));
        for (DoFuncNode& action : rule.vecDoFunc) {
            action.strFuncName = function(rule, policy);
            action.vecParam = parameters(shape);
        }
    }
    return rule;
}

Policy RandomPolicy::policy(const Shape& shape) {
    static const std::vector<std::string> kKeys{"base", "extra", "section_1", "s", "s_1", "z"};
    Policy policy = emptyPolicy();
    for (std::size_t key = 0; key < shape.keys; ++key) {
        const std::string name = key < kKeys.size() ? kKeys[key] : "key" + std::to_string(key);
        PolicyDb& group = policy.groups[name];
        group.vecPolicy.resize(below(shape.rulesPerKey + 1));
        for (PolicyNode& one : group.vecPolicy) {
            one = rule(policy, shape);
        }
    }
    return policy;
}

}  // namespace model
