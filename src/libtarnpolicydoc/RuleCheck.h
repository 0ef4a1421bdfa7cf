// The checks of single rules against what the document declares. Internal to this library.
#ifndef TARN_POLICYDOC_RULE_CHECK_H
#define TARN_POLICYDOC_RULE_CHECK_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "libtarnpolicydoc/Check.h"
#include "libtarnpolicydoc/Report.h"
#include "libtarnpolicydoc/Rules.h"

namespace policydoc {

// Rules of one key, namespace and group, by their first rule.
struct RuleSeries {
    std::uint32_t group = 0;
    std::string nameSpace;
    std::string messageGroup;
    Place place;
    std::string pointer;
};

class RuleCheck {
public:
    RuleCheck(const PolicyDocument& document, const CheckContext& context, Diagnostics& diagnostics);

    void check(const LocatedRule& located);

    const std::vector<RuleSeries>& series() const { return series_; }

private:
    struct At;

    void checkNamespace(const At& at);
    void checkPermission(const At& at);
    bool classIsSound(const At& at, const Json::Value& permClass, const std::string& perm);
    // Lists to look for near names in, made once.
    const std::vector<std::string>& memberNames(const Json::Value& object);
    const std::vector<std::string>& declaredNames(const std::vector<DeclaredName>& entries);
    void checkSides(const At& at);
    void checkSubjects(const At& at);
    void checkObjects(const At& at);
    void checkObjectName(const At& at, const std::string& name, std::size_t index);
    void checkRegistered(const At& at, const char* member, std::size_t index, const char* kind,
                         const std::string& name);
    void checkCondition(const At& at);
    void checkActions(const At& at);
    void checkFunction(const At& at, const std::string& function, const std::string& pointer, std::uint32_t line);
    void checkVariable(const At& at, const std::string& variable, const std::string& pointer, std::uint32_t line);
    void checkSize(const At& at);
    void checkRecords(const At& at) const;
    void noteSeries(const At& at);

    // "module:function": in the order of the document for the reader, and to look one up for each call of a rule.
    struct Functions {
        std::vector<std::string> inOrder;
        std::unordered_set<std::string> names;
    };

    const PolicyDocument& document_;
    const CheckContext& context_;
    Diagnostics& diagnostics_;
    std::unordered_map<std::string, Functions> functions_;                         // by namespace
    std::unordered_map<std::string, std::unordered_set<std::string>> registered_;  // kind to names
    std::unordered_set<std::string> devices_;
    std::unordered_set<std::string> modules_;
    std::unordered_set<std::string> variables_;  // "namespace:variable"
    std::vector<std::string> namespaceNames_;
    std::unordered_set<std::string> soundPermissions_;  // class, NUL, permission: those that were found right
    std::unordered_map<const Json::Value*, std::vector<std::string>> memberNames_;
    std::unordered_map<const std::vector<DeclaredName>*, std::vector<std::string>> declaredNames_;
    std::unordered_map<std::string, std::size_t> seriesIndex_;
    std::vector<RuleSeries> series_;
};

}  // namespace policydoc

#endif
