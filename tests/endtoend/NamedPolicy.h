// A random rule set as a host hands it over: rules name their subjects and objects, and a label table answers for the
// names. The model beside it holds the identifiers that the names must become.
#ifndef TARN_TESTS_NAMED_POLICY_H
#define TARN_TESTS_NAMED_POLICY_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "support/RandomPolicy.h"

class NamedPolicy {
public:
    NamedPolicy(std::uint32_t seed, const model::Shape& shape);

    // What stands behind the names: numbers, namespaces and rules with identifiers.
    const model::Policy& model() const { return model_; }
    // The label table of the substitute.
    std::string labelTable() const;

    // Writes the class definitions and the label table, and makes every call of a host before a compilation.
    void handOver(PolicyModuleManagerInterface& manager) const;

private:
    using Names = std::pair<std::vector<std::string>, std::vector<TARN_ID>>;

    Names subjects();
    Names objects(const std::string& permissionClass);
    // A name of this kind, registered with up to three identifiers.
    std::string name(const std::string& kind, const std::string& pattern, std::vector<TARN_ID>& ids);

    model::RandomPolicy random_;
    model::Policy model_;
    std::map<std::string, PolicyDb> host_;
    std::map<std::string, std::map<std::string, std::vector<TARN_ID>>> labels_;
    std::map<std::string, TARN_ID> devices_;
    std::map<std::string, TARN_ID> modules_;
};

#endif
