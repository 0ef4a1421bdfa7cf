#include "support/CompilerManager.h"

#include <stdexcept>

#include "libtarnpolicysync/Paths.h"
#include "support/Files.h"

OutputBuffer::OutputBuffer(unsigned long remaining)
    : storage(kCapacity, '\0'), start(kCapacity - remaining), used(start), cursor(storage.data() + start) {}

std::string OutputBuffer::appended() const {
    return storage.substr(start, used - start);
}

CompilerManager::CompilerManager(const model::Numbers& numbers, unsigned int threads) {
    testfiles::makeDirectories(paths::kPolicyDataTmp);
    testfiles::write(paths::kClassDefinitions, numbers.classDefinitions());
    if (importPermData() != 0) {
        throw std::runtime_error("the class definitions can't be read");
    }
    for (const auto& [name, number] : numbers.names) {
        m_mapNameId[name] = number;
    }
    for (const auto& [key, number] : numbers.functions) {
        m_mapFuncId[{std::get<0>(key), std::get<1>(key) + ":" + std::get<2>(key)}] = number;
    }
    threadnum = static_cast<std::uint16_t>(threads);
}

std::string CompilerManager::encode(const PolicyNode& rule, const TARN_ID& subject, const TARN_ID& object) {
    OutputBuffer buffer;
    status = makeSinglePolicy(rule, subject, object, buffer.cursor, buffer.used);
    return buffer.appended();
}

namespace samples {

TARN_ID id(std::uint64_t first, std::uint64_t second, std::uint64_t third) {
    return TARN_ID{{first, second, third}};
}

model::Numbers numbers() {
    model::Numbers result;
    result.classes = {{"file", {1, {{"read", 1}, {"write", 2}}}}};
    result.names = {{"ns", 99}};
    result.functions = {{{"ns", "mod", "f"}, 1}, {{"ns", "mod", "g"}, 2}};
    return result;
}

PolicyNode rule() {
    PolicyNode result;
    result.vecSubjectId = {id(1, 2, 3)};
    result.vecObjectId = {id(4, 5, 6)};
    result.sPermClass = "file";
    result.sPerm = "read";
    result.strNamespace = "ns";
    result.strGroup = "g";
    result.strModuleName = "mod";
    return result;
}

FuncParam integer(std::int64_t value) {
    FuncParam result;
    result.uiParamType = 2;
    result.iData = value;
    return result;
}

FuncParam string(const std::string& text) {
    FuncParam result;
    result.uiParamType = 3;
    result.strData = text;
    return result;
}

FuncParam wrongType(unsigned int type) {
    FuncParam result;
    result.uiParamType = type;
    result.iData = 5;
    result.strData = "text";
    return result;
}

ExprNode constant(unsigned int value) {
    return {11, "", value};
}

ExprNode variable(const std::string& name, unsigned int value) {
    ExprNode result(12, "", value);
    result.strVarName = name;
    return result;
}

ExprNode call(const std::string& function, const std::vector<FuncParam>& parameters) {
    ExprNode result(4, function, 0);
    result.vecParam = parameters;
    return result;
}

ExprNode node(unsigned int type) {
    return {type, "", 0};
}

DoFuncNode action(const std::string& function, const std::vector<FuncParam>& parameters) {
    DoFuncNode result;
    result.strFuncName = function;
    result.vecParam = parameters;
    return result;
}

PolicyNode ruleWithEverything() {
    PolicyNode result = rule();
    result.uiAttrA = 0x0A0A0A0A;
    result.uiAttrB = 0x0B0B0B0B;
    for (unsigned int word = 0; word < 5; ++word) {
        result.uiExt[word] = 0xE0 + word;
    }
    result.vecExpr = {constant(7), variable("v", 5), node(2), call("g", {integer(-2), string("ab")}),
                      node(1),     node(10)};
    result.vecDoFunc = {action("f", {string("xyz"), integer(0x0102030405060708)}), action("g")};
    return result;
}

PolicyNode ruleOfSize(std::size_t bytes) {
    constexpr std::size_t kFixed = 100 + 20 + 8;  // magic number and node, action, parameter information
    PolicyNode result = rule();
    result.vecDoFunc = {action("f", {string(std::string(bytes - kFixed, 'x'))})};
    return result;
}

}  // namespace samples
