#include "libtarnpolicysync/compiler/NumberLookup.h"

int PolicyModuleManagerInterface::Private::NumberLookup::permission(const std::string& className,
                                                                    const std::string& permName, Permission& result) {
    return lookUp(permissions_, {className, permName, {}}, result, [&](Permission& answer) {
        return manager_.transPerm(className, permName, answer.classValue, answer.permValue);
    });
}

int PolicyModuleManagerInterface::Private::NumberLookup::nameNumber(const std::string& nameSpace, int& result) {
    return lookUp(names_, {nameSpace, {}, {}}, result,
                  [&](int& answer) { return manager_.getNameId(nameSpace, answer); });
}

int PolicyModuleManagerInterface::Private::NumberLookup::functionNumber(const PolicyNode& rule,
                                                                        const std::string& function, int& result) {
    return lookUp(functions_, {rule.strNamespace, rule.strModuleName, function}, result, [&](int& answer) {
        return manager_.getFuncId(rule.strNamespace, rule.strModuleName, function, answer);
    });
}
