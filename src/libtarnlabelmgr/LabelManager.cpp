#include "libtarnlabelmgr/LabelManager.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <new>

#include "libtarnlabelmgr/LabelTable.h"

namespace {

using labeltable::Table;

// The table as last parsed, with the text that it was parsed from. A compilation asks three times, and parsing is what
// takes the time; comparing texts instead of file times sees every change, also two within one tick of the clock.
class TableCache {
public:
    int current(std::shared_ptr<const Table>& table, std::string& problem) {
        std::string text;
        const int status = labeltable::readText(labeltable::kPath, text, problem);
        if (status != labeltable::kOk) {
            return status;
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        if (table_ == nullptr || text != text_) {
            const int parsed = refill(std::move(text), problem);
            if (parsed != labeltable::kOk) {
                return parsed;
            }
        }
        table = table_;
        return labeltable::kOk;
    }

private:
    int refill(std::string text, std::string& problem) {
        auto fresh = std::make_shared<Table>();
        const int status = labeltable::parse(text, *fresh, problem);
        if (status == labeltable::kOk) {
            table_ = std::move(fresh);
            text_ = std::move(text);
        }
        return status;
    }

    std::mutex mutex_;
    std::shared_ptr<const Table> table_;
    std::string text_;
};

// Hands the current table to `use`; a failure is said on standard error and returned. Nothing is thrown: the callers
// stand at the border of the library.
template <class Use>
int withTable(Use use) noexcept {
    try {
        static TableCache cache;
        std::shared_ptr<const Table> table;
        std::string problem;
        const int status = cache.current(table, problem);
        if (status == labeltable::kOk) {
            use(*table);
        } else {
            std::fprintf(stderr, "libtarnlabelmgr: %s: %s\n", labeltable::kPath, problem.c_str());
        }
        return status;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "libtarnlabelmgr: %s: %s\n", labeltable::kPath, error.what());
        return labeltable::kNoMemory;
    }
}

void pick(const labeltable::Oids& known, const std::vector<std::string>& names, std::map<std::string, TARN_ID>& oids) {
    for (const std::string& name : names) {
        const auto found = known.find(name);
        if (found != known.end()) {
            oids.emplace(name, found->second);
        }
    }
}

void pick(const labeltable::Labels& known, const std::string& kind, const std::vector<std::string>& names,
          std::map<std::string, std::map<std::string, std::vector<TARN_ID>>>& answer) {
    for (const std::string& name : names) {
        const auto found = known.find(name);
        if (found != known.end()) {
            answer[kind].emplace(name, found->second);
        }
    }
}

}  // namespace

int policies_parse(const std::map<std::string, std::vector<std::string>>& request,
                   std::map<std::string, std::map<std::string, std::vector<TARN_ID>>>& answer) {
    return withTable([&](const Table& table) {
        for (const auto& [kind, names] : request) {
            const auto known = table.kinds.find(kind);
            if (known != table.kinds.end()) {
                pick(known->second, kind, names, answer);
            }
        }
    });
}

int getDeviceOids(std::vector<std::string> devices, std::map<std::string, TARN_ID>& oids) {
    return withTable([&](const Table& table) { pick(table.devices, devices, oids); });
}

int getKernelModuleOids(std::vector<std::string> modules, std::map<std::string, TARN_ID>& oids) {
    return withTable([&](const Table& table) { pick(table.modules, modules, oids); });
}
