// From the host's call to the last byte: the stages of a full compilation of rules of one pair, whose names are resolved
// through labelled files.
#include <array>
#include <unordered_map>

#include "libtarnlabelmgr/LabelManager.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bench.h"
#include "support/Rules.h"

namespace {

// A label manager that knows every name that it is asked for, and how long its last answer took.
std::map<std::string, std::map<std::string, std::vector<TARN_ID>>> knownLabels;
bench::Time labelTime;

}  // namespace

int policies_parse(const std::map<std::string, std::vector<std::string>>& /*request*/,
                   std::map<std::string, std::map<std::string, std::vector<TARN_ID>>>& answer) {
    labelTime = bench::timed([&] { answer = knownLabels; });
    return 0;
}

int getDeviceOids(std::vector<std::string> /*devices*/, std::map<std::string, TARN_ID>& /*oids*/) {
    return 0;
}

int getKernelModuleOids(std::vector<std::string> /*modules*/, std::map<std::string, TARN_ID>& /*oids*/) {
    return 0;
}

namespace {

using bench::Options;
using LabelsOfNames = std::unordered_map<std::string, std::vector<TARN_ID>>;

std::string subjectName(std::size_t number) {
    return "/usr/bin/program-" + std::to_string(number);
}

std::string objectName(std::size_t number) {
    return "/srv/data/file-" + std::to_string(number);
}

// A manager with `ruleCount` rules over `fileCount` registered files, half of them subjects. The names come in an order
// without system, as rules name files.
class Setup {
public:
    Setup(std::size_t ruleCount, std::size_t fileCount) {
        const std::size_t half = std::max<std::size_t>(fileCount / 2, 1);
        for (std::size_t number = 0; number < half; ++number) {
            subjects_[subjectName(number)] = {TARN_ID{{number, 1, 1}}};
            objects_[objectName(number)] = {TARN_ID{{number, 2, 2}}};
        }
        for (const auto& [name, ids] : subjects_) {
            manager.m_mapFileToGetLabel["subject_file"].push_back(name);
        }
        for (const auto& [name, ids] : objects_) {
            manager.m_mapFileToGetLabel["object_file"].push_back(name);
        }
        bench::registerFunctions(manager);
        std::vector<PolicyNode> rules(ruleCount);
        constexpr std::size_t kStrides[] = {7919, 104729};
        for (std::size_t number = 0; number < ruleCount; ++number) {
            PolicyNode& rule = rules[number] = bench::plainRule(number, 0, 0);
            rule.bSubjectFlag = false;
            rule.vecSubjectName = {subjectName(number * kStrides[0] % half)};
            rule.bObjectFlag = false;
            rule.vecObjectName = {objectName(number * kStrides[1] % half)};
        }
        bench::hand(manager, "base", std::move(rules));
        bench::releaseFreeMemory();
    }

    void answerLabels() const {
        knownLabels.clear();
        knownLabels["subject_file"].insert(subjects_.begin(), subjects_.end());
        knownLabels["object_file"].insert(objects_.begin(), objects_.end());
    }

    // The same conversion without anything around it.
    void convertByHand() {
        for (PolicyNode& rule : manager.m_mapPolicy["base"].vecPolicy) {
            rule.vecSubjectId = idsOf(rule.vecSubjectName, subjects_);
            rule.vecObjectId = idsOf(rule.vecObjectName, objects_);
        }
    }

    bench::Manager manager;

private:
    static std::vector<TARN_ID> idsOf(const std::vector<std::string>& names, const LabelsOfNames& labels) {
        std::vector<TARN_ID> ids;
        for (const std::string& name : names) {
            const auto found = labels.find(name);
            if (found != labels.end()) {
                ids.insert(ids.end(), found->second.begin(), found->second.end());
            }
        }
        return ids;
    }

    LabelsOfNames subjects_;
    LabelsOfNames objects_;
};

constexpr std::array<const char*, 7> kStages{"begin message",     "namespace message", "parsePolicyData",
                                             "policy messages",   "end message",       "user information",
                                             "compileData in all"};
using StageTimes = std::array<bench::Time, kStages.size()>;

// The stages one by one as compileData calls them, then the whole. The label manager's own time is taken off.
StageTimes timedStages(Setup& setup) {
    setup.answerLabels();
    bench::emptyPolicyFolder();
    StageTimes result{};
    bench::Manager& manager = setup.manager;
    const std::array<std::function<unsigned int()>, kStages.size()> stages{
        [] { return compileKernelMsg(1); },
        [&] { return static_cast<unsigned int>(manager.compileKernelNamespaceMsg()); },
        [&] { return static_cast<unsigned int>(manager.parsePolicyData()); },
        [&] { return static_cast<unsigned int>(manager.compileKernelPolicyMsg()); },
        [] { return compileKernelMsg(2); },
        [&] { return static_cast<unsigned int>(manager.processUserInfo()); },
        [&] { return manager.compileData(); }};
    for (std::size_t stage = 0; stage < stages.size(); ++stage) {
        unsigned int status = 1;
        labelTime = {};
        result[stage] = bench::timed([&] { status = stages[stage](); }) - labelTime;
        bench::require(status == 0, std::string("a stage failed: ") + kStages[stage]);
    }
    return result;
}

void growth(const Options& options, Setup& large, Setup& small) {
    // One comparison for each stage, from the same runs.
    std::vector<StageTimes> largeRuns;
    std::vector<StageTimes> smallRuns;
    bench::resetPeak();
    for (int round = 0; round < options.rounds; ++round) {
        largeRuns.push_back(timedStages(large));
        smallRuns.push_back(timedStages(small));
    }
    const double peak = bench::residentPeak();
    for (std::size_t stage = 0; stage < kStages.size(); ++stage) {
        std::size_t nextLarge = 0;
        std::size_t nextSmall = 0;
        bench::Row row{"whole way",
                       std::string(kStages[stage]) + ", 1 M rules",
                       "10,000",
                       large.manager.threadnum,
                       bench::Bound::kAtMost,
                       150};
        row.result = bench::compare(
            options, [&] { return largeRuns[nextLarge++][stage]; }, [&] { return smallRuns[nextSmall++][stage]; });
        row.result.peak = peak;
        bench::print(options, row);
    }
}

void parsing(const Options& options, Setup& setup) {
    bench::Row row{"parse", "parsePolicyData, 1 M rules, 100,000 files", "unordered_map", 1, bench::Bound::kAtMost, 2};
    row.result = bench::compare(
        options,
        [&] {
            setup.answerLabels();
            int status = 1;
            const bench::Time time = bench::timed([&] { status = setup.manager.parsePolicyData(); });
            bench::require(status == 0, "the parsing failed");
            return time - labelTime;
        },
        [&] { return bench::timed([&] { setup.convertByHand(); }); });
    bench::print(options, row);
}

}  // namespace

int main(int count, char** arguments) {
    const Options options = bench::start(count, arguments);
    constexpr std::size_t kFactor = 100;  // the labelled files stay as many
    const std::size_t rules = bench::sized(options, 1000000);
    const std::size_t files = bench::sized(options, 100000);
    Setup large(rules, files);
    parsing(options, large);
    Setup small(rules / kFactor, files);
    growth(options, large, small);
    bench::emptyPolicyFolder();
    return 0;
}
