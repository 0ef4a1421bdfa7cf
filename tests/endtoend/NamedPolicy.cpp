#include "NamedPolicy.h"

#include <sstream>

#include "libtarnpolicysync/Paths.h"
#include "support/Files.h"

namespace {

constexpr std::size_t kNamesOfAKind = 25;

std::string replaced(std::string pattern, std::size_t number) {
    return pattern.replace(pattern.find('#'), 1, std::to_string(number));
}

std::string print(const TARN_ID& id) {
    std::ostringstream text;
    text << "[\"" << id.uiWord[0] << "\", \"" << id.uiWord[1] << "\", \"" << id.uiWord[2] << "\"]";
    return text.str();
}

template <typename Map, typename Print>
std::string object(const Map& map, Print printValue) {
    std::string text = "{";
    for (const auto& [key, value] : map) {
        text += (text.size() == 1 ? "\"" : ",\n\"") + key + "\": " + printValue(value);
    }
    return text + "}";
}

std::string list(const std::vector<TARN_ID>& ids) {
    std::string text = "[";
    for (const TARN_ID& id : ids) {
        text += (text.size() == 1 ? "" : ", ") + print(id);
    }
    return text + "]";
}

}  // namespace

NamedPolicy::NamedPolicy(std::uint32_t seed, const model::Shape& shape) : random_(seed), model_(random_.policy(shape)) {
    for (auto& [key, group] : model_.groups) {
        for (PolicyNode& rule : group.vecPolicy) {
            PolicyNode named = rule;
            // Half of the sides stay given by identifiers.
            if (random_.below(2) == 0) {
                std::tie(named.vecSubjectName, rule.vecSubjectId) = subjects();
                named.bSubjectFlag = false;
                named.vecSubjectId.clear();
            }
            if (random_.below(2) == 0) {
                std::tie(named.vecObjectName, rule.vecObjectId) = objects(rule.sPermClass);
                named.bObjectFlag = false;
                named.vecObjectId.clear();
            }
            host_[key].vecPolicy.push_back(named);
        }
    }
}

std::string NamedPolicy::name(const std::string& kind, const std::string& pattern, std::vector<TARN_ID>& ids) {
    std::string result =
        pattern.find('#') == std::string::npos ? pattern : replaced(pattern, random_.below(kNamesOfAKind));
    auto& known = labels_[kind];
    if (known.count(result) == 0) {
        std::vector<TARN_ID>& fresh = known[result];
        fresh.resize(random_.below(4));
        for (TARN_ID& id : fresh) {
            id = random_.identifier();
        }
    }
    ids.insert(ids.end(), known[result].begin(), known[result].end());
    return result;
}

NamedPolicy::Names NamedPolicy::subjects() {
    Names result;
    for (std::size_t count = random_.below(4); count > 0; --count) {
        switch (random_.below(4)) {
            case 0:
                result.first.push_back(name("subject_pkg", "NULLL", result.second));
                break;
            case 1:
                result.first.push_back(name("subject_recurfile", "/opt/tool#/*", result.second));
                break;
            case 2:
                result.first.push_back(name("subject_file", "/usr/bin/tool#", result.second));
                break;
            default:
                result.first.push_back(name("subject_pkg", "package#", result.second));
        }
    }
    return result;
}

NamedPolicy::Names NamedPolicy::objects(const std::string& permissionClass) {
    Names result;
    for (std::size_t count = random_.below(4); count > 0; --count) {
        const std::size_t kind = random_.below(4);
        auto& [names, ids] = result;
        if (kind == 0) {
            names.push_back(name("object_pkg", "NULLL", ids));
        } else if (permissionClass == "usb" || permissionClass == "kmod") {
            auto& known = permissionClass == "usb" ? devices_ : modules_;
            names.push_back(permissionClass + std::to_string(random_.below(5)));
            ids.push_back(known.try_emplace(names.back(), random_.identifier()).first->second);
        } else if (permissionClass == "process") {
            names.push_back(kind == 1   ? name("subject_recurfile", "/opt/tool#/*", ids)
                            : kind == 2 ? name("subject_file", "/usr/bin/tool#", ids)
                                        : name("subject_pkg", "package#", ids));
        } else if (permissionClass == "dir") {
            names.push_back(kind == 1 ? name("object_recurfile", "/data#/*", ids) : name("object_dir", "/data#", ids));
        } else {
            names.push_back(kind == 1   ? name("object_recurfile", "/data#/*", ids)
                            : kind == 2 ? name("object_file", "/data/file#", ids)
                                        : name("object_pkg", "package#", ids));
        }
    }
    return result;
}

std::string NamedPolicy::labelTable() const {
    const std::string labels =
        object(labels_, [](const auto& names) { return object(names, [](const auto& ids) { return list(ids); }); });
    return "{\"format\": \"tarn-labels\", \"version\": 1,\n\"labels\": " + labels +
           ",\n\"devices\": " + object(devices_, print) + ",\n\"modules\": " + object(modules_, print) + "}\n";
}

void NamedPolicy::handOver(PolicyModuleManagerInterface& manager) const {
    testfiles::write(paths::kClassDefinitions, model_.numbers.classDefinitions());
    testfiles::write("/etc/tarn/labels.json", labelTable());
    manager.prepareWork();
    for (const auto& [nameSpace, entries] : model_.namespaces) {
        manager.setNamespaceInfo(nameSpace);
        for (const std::string& entry : entries) {
            const std::size_t colon = entry.find(':');
            manager.setNamespaceFuncInfo(nameSpace, entry.substr(0, colon), entry.substr(colon + 1));
        }
    }
    for (const auto& [kind, names] : labels_) {
        for (const auto& [name, ids] : names) {
            manager.setFileToGetLabelMap(kind, name);
        }
    }
    for (const auto& [device, id] : devices_) {
        manager.addToDeviceVec(device);
    }
    for (const auto& [module, id] : modules_) {
        manager.addToKmodVec(module);
    }
    for (const auto& [key, group] : host_) {
        PolicyDb copy = group;
        manager.addPolicy(key, copy);
    }
    manager.setUidInfo("user", 1000);
}
