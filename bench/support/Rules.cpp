#include "support/Rules.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Common/Handles.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bench.h"

namespace bench {

namespace fs = std::filesystem;

Manager::Manager(unsigned int threads) {
    fs::create_directories(fs::path(paths::kClassDefinitions).parent_path());
    std::ofstream(paths::kClassDefinitions)
        << R"({"file": {"value": 1, "perms": {"read": 1, "write": 2}}, "dir": {"value": 2, "perms": {"list": 1}}})";
    fs::create_directories(paths::kPolicyDataTmp);
    require(prepareWork() == 0, "the class definitions can't be read");
    threadnum = static_cast<std::uint16_t>(threads);
}

PolicyNode plainRule(std::size_t number, std::size_t subjects, std::size_t objects) {
    PolicyNode rule;
    rule.uiAttrA = 1;
    rule.uiAttrB = 2;
    for (std::size_t index = 0; index < subjects; ++index) {
        rule.vecSubjectId.push_back(TARN_ID{{number, index, 1}});
    }
    for (std::size_t index = 0; index < objects; ++index) {
        rule.vecObjectId.push_back(TARN_ID{{number, index, 2}});
    }
    rule.sPermClass = "file";
    rule.sPerm = "read";
    rule.strNamespace = "net";
    rule.strGroup = "base";
    rule.strModuleName = "netmod";
    return rule;
}

std::vector<PolicyNode> plainRules(std::size_t count, std::size_t subjects, std::size_t objects) {
    std::vector<PolicyNode> rules;
    rules.reserve(count);
    for (std::size_t number = 0; number < count; ++number) {
        rules.push_back(plainRule(number, subjects, objects));
    }
    return rules;
}

void addConditionAndActions(PolicyNode& rule) {
    constexpr unsigned int kAnd = 2;
    constexpr unsigned int kCall = 4;
    constexpr unsigned int kConstant = 11;
    constexpr unsigned int kVariable = 12;
    constexpr unsigned int kText = 3;
    FuncParam text;
    text.uiParamType = kText;
    text.strData = "eth0";
    for (unsigned int operand = 0; operand < 8; ++operand) {
        ExprNode node(kConstant, "", operand);
        if (operand % 4 == 1) {
            node = ExprNode(kCall, "check", 0);
            node.vecParam = {text};
        } else if (operand % 4 == 2) {
            node = ExprNode(kVariable, "", 1);
            node.strVarName = "online";
        }
        rule.vecExpr.push_back(node);
        if (operand > 0) {
            rule.vecExpr.emplace_back(kAnd, "", 0U);
        }
    }
    rule.vecDoFunc = {{"log", {}}, {"count", {text}}};
}

void registerFunctions(Manager& manager) {
    for (const char* function : {"check", "log", "count"}) {
        require(manager.setNamespaceFuncInfo("net", "netmod", function) == 0, "a function is refused");
    }
    require(manager.compileKernelNamespaceMsg() == 0, "the functions get no numbers");
}

void hand(Manager& manager, const std::string& key, std::vector<PolicyNode>&& rules) {
    PolicyDb group;
    group.vecPolicy = std::move(rules);
    require(manager.addPolicy(key, group) == 0, "the rules are refused");
}

void emptyPolicyFolder() {
    fs::create_directories(paths::kPolicyDataTmp);
    for (const fs::directory_entry& entry : fs::directory_iterator(paths::kPolicyDataTmp)) {
        fs::remove(entry.path());
    }
    const UniqueFd folder(open(paths::kPolicyDataTmp, O_RDONLY | O_DIRECTORY));
    require(folder.valid() && syncfs(folder.get()) == 0, "the file system can't be waited for");
}

FolderContent policyFolder() {
    FolderContent content;
    for (const fs::directory_entry& entry : fs::directory_iterator(paths::kPolicyDataTmp)) {
        ++content.files;
        content.bytes += entry.file_size();
    }
    return content;
}

}  // namespace bench
