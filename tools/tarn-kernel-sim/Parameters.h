// The switches under paras/: one for each dynamic variable, by namespace and name.
#ifndef TARN_KERNEL_SIM_PARAMETERS_H
#define TARN_KERNEL_SIM_PARAMETERS_H

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

class Parameters {
public:
    struct Parameter {
        std::size_t nameSpace;  // index into namespaces()
        std::string name;
        char value;  // '0' or '1'
    };

    // Adds a switch that is off; nothing changes when it exists. False where a name can't be that of a directory entry.
    bool add(const std::string& nameSpace, const std::string& variable);
    // The same for "namespace/variable".
    bool addPath(std::string_view path);

    // Takes "0" or "1", one byte and nothing else. 0 or EINVAL.
    int set(std::size_t index, std::string_view text);

    // Nothing is ever removed, so an index stays valid.
    const std::vector<std::string>& namespaces() const { return namespaces_; }
    const std::vector<Parameter>& all() const { return all_; }

    // npos where there is none.
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    std::size_t findNamespace(const std::string& name) const;
    std::size_t find(std::size_t nameSpace, const std::string& variable) const;

private:
    std::vector<std::string> namespaces_;
    std::vector<Parameter> all_;
    std::map<std::string, std::size_t> namespaceIndex_;
    std::map<std::pair<std::size_t, std::string>, std::size_t> index_;
};

}  // namespace sim

#endif
