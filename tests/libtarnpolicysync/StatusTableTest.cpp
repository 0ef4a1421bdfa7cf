// Every status that an operation can return stands in the table of its comment, and nothing else does: each test
// provokes all statuses of one operation and compares them with the header.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "libtarnpolicysync/Paths.h"
#include "support/FakeLabelManager.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/ManagerAccess.h"
#include "support/StdoutCapture.h"
#include "support/WriteFaults.h"

namespace {

namespace fs = std::filesystem;
using fakelabels::Answer;
using fakelabels::fake;
using fakelabels::Names;
using fakelabels::Oids;
using fakelabels::Request;
using Statuses = std::set<std::string>;

constexpr int kLabelError = 1005;   // no errno, no other status
constexpr int kInjectedErrno = 99;  // of writes that fail on purpose
constexpr unsigned int kMinusOne = 0xFFFFFFFF;

// ---- The tables of the header

struct Header {
    std::map<std::string, Statuses> tables;  // operation to the words of its table
    std::set<std::string> operations;        // everything that returns a status
};

// A table begins after a comment line that ends in "Status:", a row is a word between 5 and at least 2 blanks, and the
// declaration that follows is its operation.
Header readHeader() {
    std::istringstream text(
        testfiles::read(std::string(TARN_SOURCE_DIR) + "/src/libtarnpolicysync/PolicyModuleManagerInterface.h"));
    const std::regex head(R"(^ *// (.* )?Status:$)");
    const std::regex row(R"(^ *//     ([^ ]+)  +[^ ].*$)");
    const std::regex declaration(R"(^ *(TARN_API )?(unsigned int|int) (\w+)\(.*$)");
    Header header;
    Statuses words;
    for (std::string line; std::getline(text, line);) {
        std::smatch match;
        if (std::regex_match(line, match, declaration)) {
            header.operations.insert(match[3]);
            if (!words.empty()) {
                header.tables[match[3]] = words;
            }
            words.clear();
        } else if (std::regex_match(line, head)) {
            words.clear();
        } else if (std::regex_match(line, match, row)) {
            words.insert(match[1]);
        } else if (line == "protected:") {
            break;  // what follows is not for hosts
        }
    }
    return header;
}

// Statuses as the tables write them.
std::string word(int status) {
    if (status == kInjectedErrno || status == EPROTO) {
        return "errno";
    }
    return status == kLabelError ? "label" : std::to_string(status);
}
std::string word(unsigned int status) {
    return status == kMinusOne ? "0xFFFFFFFF" : word(static_cast<int>(status));
}

// ---- Provoking statuses

void clearFolder(const char* folder) {
    for (const auto& entry : fs::directory_iterator(folder)) {
        fs::remove_all(entry.path());
    }
}

// Back to an empty machine with class definitions for the rule below and a label manager that answers.
void reset() {
    clearFolder("/etc/tarn");
    clearFolder("/sys/kernel/security/tarn");
    testfiles::write(paths::kConfiguration, "threadnum=1\n");
    testfiles::write(paths::kClassDefinitions,
                     R"({"file": {"value": 1, "perms": {"read": 1}, "parent": "object"}, "object": {}})");
    fake() = fakelabels::Fake{};
}

// A manager with something in every table, ready to compile.
struct Host : ManagerAccess {
    Host() {
        prepareWork();
        setNamespaceFuncInfo("net", "m", "f");
        setUidInfo("alice", 1000);
        addToDeviceVec("usb0");
        addToKmodVec("netmod");
        setFileToGetLabelMap("subject_file", "/a");
        PolicyNode rule;
        rule.vecSubjectId = {TARN_ID{{1, 2, 3}}};
        rule.vecObjectId = {TARN_ID{{4, 5, 6}}};
        rule.sPermClass = "file";
        rule.sPerm = "read";
        rule.strNamespace = "net";
        rule.strGroup = "g";
        PolicyDb group;
        group.vecPolicy = {rule};
        addPolicy("base", group);
    }
};

const std::string kEntry = std::string(paths::kKernelParameters) + "net/v";

// A function that fails at its n-th call.
struct Fault {
    int failing;
    std::atomic<int> calls{0};

    bool strikes() { return ++calls == failing; }
    bool wasReached() const { return calls >= failing; }
};

template <typename Result, typename... Arguments>
auto failNth(interpose::Slot<Result(Arguments...)>& slot, Fault& fault, Result failure) {
    return slot.replace([&slot, &fault, failure](Arguments... arguments) -> Result {
        if (fault.strikes()) {
            errno = kInjectedErrno;
            return failure;
        }
        return slot.real(arguments...);
    });
}

// Collects the statuses that one operation gives and in the end compares them with its table.
class Provoked {
public:
    explicit Provoked(std::string operation) : operation_(std::move(operation)) {}
    ~Provoked() {
        const Header header = readHeader();
        const auto table = header.tables.find(operation_);
        if (table == header.tables.end()) {
            ADD_FAILURE() << operation_ << " has no table of statuses";
        } else {
            EXPECT_EQ(statuses_, table->second) << operation_;
        }
    }
    Provoked(const Provoked&) = delete;
    Provoked& operator=(const Provoked&) = delete;

    // One call on a fresh machine, after the preparation. What the library prints is not shown.
    template <typename Prepare, typename Call>
    void by(Prepare prepare, Call call) {
        reset();
        Host host;
        const StdoutCapture quiet;
        prepare(host);
        statuses_.insert(word(call(host)));
    }
    template <typename Call>
    void by(Call call) {
        by([](Host&) {}, call);
    }

    // The call again and again, each time with one more call of a C function failing, until none is left.
    template <typename Prepare, typename Call>
    void byFaults(Prepare prepare, Call call) {
        sweep(interpose::open, -1, prepare, call);
        sweep(interpose::openat, -1, prepare, call);
        sweep(interpose::read, ssize_t{-1}, prepare, call);
        sweep(interpose::write, ssize_t{-1}, prepare, call);
        sweep(interpose::fsync, -1, prepare, call);
        sweep(interpose::close, -1, prepare, call);
        sweep(interpose::access, -1, prepare, call);
        sweep(interpose::lstat, -1, prepare, call);
        sweep(interpose::fstatat, -1, prepare, call);
        sweep(interpose::realpath, static_cast<char*>(nullptr), prepare, call);
        sweep(interpose::mkdir, -1, prepare, call);
        sweep(interpose::unlinkat, -1, prepare, call);
        sweep(interpose::unlink, -1, prepare, call);
        sweep(interpose::renameat, -1, prepare, call);
        sweep(interpose::fdopendir, static_cast<DIR*>(nullptr), prepare, call);
        sweep(interpose::fdopen, static_cast<FILE*>(nullptr), prepare, call);
        sweep(interpose::getdelim, ssize_t{-1}, prepare, call);
        sweep(interpose::pthread_create, EAGAIN, prepare, call);
    }

private:
    template <typename Slot, typename Result, typename Prepare, typename Call>
    void sweep(Slot& slot, Result failure, Prepare prepare, Call call) {
        bool reached = true;
        for (int failing = 1; reached; ++failing) {
            Fault fault{failing};
            by(prepare, [&](Host& host) {
                const auto guard = failNth(slot, fault, failure);
                return call(host);
            });
            reached = fault.wasReached();
        }
    }

    std::string operation_;
    Statuses statuses_;
};

const auto kNothing = [](Host&) {};
const auto kCompile = [](Host& host) { EXPECT_EQ(host.compileData(), 0U); };
const auto kCompileWithVariables = [](Host& host) {
    EXPECT_EQ(host.compileData(), 0U);
    testfiles::write(kEntry, "");
    host.dynamicVarMap[{"net", "v"}] = 1;
    host.fullCompiled = false;
};

void refuseLabels() {
    fake().labels = [](const Request&, Answer&) { return kLabelError; };
}

// ---- One test for each operation, named after it

TEST(StatusesOf, postToPreFix) {
    Provoked provoked("postToPreFix");
    std::vector<ExprNode> prefix;
    provoked.by([&](Host&) { return postToPreFix({}, prefix); });
    provoked.by([&](Host&) { return postToPreFix({ExprNode(11, "", 1), ExprNode(1, "", 0)}, prefix); });
    provoked.by([&](Host&) { return postToPreFix({ExprNode(1, "", 0)}, prefix); });
    provoked.by([&](Host&) { return postToPreFix({ExprNode(11, "", 1), ExprNode(2, "", 0)}, prefix); });
}

TEST(StatusesOf, compileKernelMsg) {
    Provoked provoked("compileKernelMsg");
    provoked.by([](Host&) { return compileKernelMsg(0); });
    provoked.by([](Host&) { return compileKernelMsg(2); });
    provoked.byFaults(kCompile, [](Host&) { return compileKernelMsg(1); });
}

TEST(StatusesOf, splitVector) {
    Provoked provoked("splitVector");
    std::vector<std::vector<PolicyNode>> slices(2);
    for (const int count : {-1, 0, 1, 2}) {
        provoked.by([&](Host&) { return splitVector({PolicyNode()}, count, slices); });
    }
}

TEST(StatusesOf, prepareWork) {
    Provoked provoked("prepareWork");
    provoked.by([](Host& host) { return host.prepareWork(); });
    provoked.by([](Host&) { unlink(paths::kClassDefinitions); }, [](Host& host) { return host.prepareWork(); });
    provoked.byFaults(kNothing, [](Host& host) { return host.prepareWork(); });
}

TEST(StatusesOf, addPolicy) {
    Provoked provoked("addPolicy");
    for (const char* key : {"", "base", "new"}) {
        provoked.by([=](Host& host) {
            PolicyDb group;
            return host.addPolicy(key, group);
        });
    }
}

TEST(StatusesOf, setNamespaceInfo) {
    Provoked provoked("setNamespaceInfo");
    for (const char* name : {"", "net", "new"}) {
        provoked.by([=](Host& host) { return host.setNamespaceInfo(name); });
    }
}

TEST(StatusesOf, setNamespaceFuncInfo) {
    Provoked provoked("setNamespaceFuncInfo");
    for (const char* name : {"", "f", "new"}) {
        provoked.by([=](Host& host) { return host.setNamespaceFuncInfo("net", "m", name); });
        provoked.by([=](Host& host) { return host.setNamespaceFuncInfo("net", name, "f"); });
        provoked.by([=](Host& host) { return host.setNamespaceFuncInfo(name, "m", "f"); });
    }
}

TEST(StatusesOf, setUidInfo) {
    Provoked provoked("setUidInfo");
    for (const char* name : {"", "alice", "new"}) {
        provoked.by([=](Host& host) { return host.setUidInfo(name, 1); });
    }
}

TEST(StatusesOf, setFileToGetLabelMap) {
    Provoked provoked("setFileToGetLabelMap");
    for (const char* name : {"", "/a", "/new"}) {
        provoked.by([=](Host& host) { return host.setFileToGetLabelMap("subject_file", name); });
        provoked.by([=](Host& host) { return host.setFileToGetLabelMap(name, "/a"); });
    }
}

TEST(StatusesOf, addToDeviceVec) {
    Provoked provoked("addToDeviceVec");
    for (const char* name : {"", "usb0", "new"}) {
        provoked.by([=](Host& host) { return host.addToDeviceVec(name); });
    }
}

TEST(StatusesOf, addToKmodVec) {
    Provoked provoked("addToKmodVec");
    for (const char* name : {"", "netmod", "new"}) {
        provoked.by([=](Host& host) { return host.addToKmodVec(name); });
    }
}

TEST(StatusesOf, getParentClass) {
    Provoked provoked("getParentClass");
    for (const char* name : {"", "file", "object", "unknown"}) {
        provoked.by([=](Host& host) {
            std::string parent;
            return host.getParentClass(name, parent);
        });
    }
}

TEST(StatusesOf, getCapOid) {
    Provoked provoked("getCapOid");
    for (const char* name : {"", "cap_chown", "unknown"}) {
        provoked.by([=](Host& host) {
            TARN_ID oid{};
            return host.getCapOid(name, oid);
        });
    }
}

// The three ways in which the label manager refuses, and a rule that can't be compiled.
template <typename Call>
void compileBadInput(Provoked& provoked, Call call) {
    provoked.by([](Host&) { refuseLabels(); }, call);
    provoked.by([](Host&) { fake().devices = [](const Names&, Oids&) { return kLabelError; }; }, call);
    provoked.by([](Host&) { fake().modules = [](const Names&, Oids&) { return kLabelError; }; }, call);
    provoked.by([](Host& host) { host.m_mapPolicy["base"].vecPolicy[0].sPermClass = "unknown"; }, call);
    provoked.by([](Host& host) { host.m_mapNamespaceFunc["net"] = {std::string(0x100000, 'x')}; }, call);
}

TEST(StatusesOf, compileData) {
    Provoked provoked("compileData");
    const auto call = [](Host& host) { return host.compileData(); };
    compileBadInput(provoked, call);
    provoked.byFaults(kNothing, call);
    provoked.byFaults(kCompile, call);
}

TEST(StatusesOf, compileInitData) {
    Provoked provoked("compileInitData");
    const auto call = [](Host& host) { return host.compileInitData(); };
    compileBadInput(provoked, call);
    provoked.byFaults(kNothing, call);
    provoked.byFaults([](Host& host) { EXPECT_EQ(host.compileInitData(), 0U); }, call);
}

TEST(StatusesOf, sendSinglePolicy) {
    Provoked provoked("sendSinglePolicy");
    const auto call = [](Host& host) { return host.sendSinglePolicy(paths::kBeginMessage); };
    provoked.by(call);
    provoked.by([](Host& host) { return host.sendSinglePolicy("/tmp/message"); });
    provoked.byFaults(kCompile, call);
}

TEST(StatusesOf, sendSinglePolicyWithFullPath) {
    Provoked provoked("sendSinglePolicyWithFullPath");
    const auto call = [](Host& host) { return host.sendSinglePolicyWithFullPath(paths::kBeginMessage); };
    provoked.by(call);
    provoked.by([](Host& host) { return host.sendSinglePolicyWithFullPath("/tmp/../message"); });
    provoked.byFaults(kCompile, call);
}

TEST(StatusesOf, sendPolicy) {
    Provoked provoked("sendPolicy");
    const auto call = [](Host& host) { return host.sendPolicy(); };
    provoked.by(call);
    provoked.byFaults(kCompile, call);
    provoked.byFaults(kCompileWithVariables, call);
    provoked.by(kCompile, [](Host& host) {
        const WriteFaults refusal({{paths::kKernelDeliver, EPROTO}});
        return host.sendPolicy();
    });
}

TEST(StatusesOf, compileSectionPolicy) {
    Provoked provoked("compileSectionPolicy");
    const auto call = [](Host& host) { return host.compileSectionPolicy("net", "g"); };
    provoked.by(call);
    provoked.byFaults(kCompile, call);
    provoked.by(kCompile, [&call](Host& host) {
        fake().labels = [](const Request&, Answer&) { return kLabelError; };
        return call(host);
    });
}

TEST(StatusesOf, mergeSectionPolicy) {
    Provoked provoked("mergeSectionPolicy");
    const auto call = [](Host& host) { return host.mergeSectionPolicy("net", "g"); };
    provoked.by(call);
    provoked.byFaults(
        [](Host& host) {
            kCompile(host);
            testfiles::makeDirectories(paths::kSectionData);
        },
        call);
}

TEST(StatusesOf, sendInitPolicy) {
    Provoked provoked("sendInitPolicy");
    const auto call = [](Host& host) { return host.sendInitPolicy(""); };
    provoked.by(call);
    provoked.by([](Host& host) { return host.sendInitPolicy("mnt"); });
    provoked.byFaults([](Host& host) { EXPECT_EQ(host.compileInitData(), 0U); }, call);
}

TEST(StatusesOf, finalizeTmpFile) {
    Provoked provoked("finalizeTmpFile");
    const auto call = [](Host& host) { return host.finalizeTmpFile(); };
    provoked.by(call);
    provoked.byFaults(kCompile, call);
    provoked.byFaults(
        [](Host& host) {
            EXPECT_EQ(host.compileInitData(), 0U);
            kCompile(host);
        },
        call);
}

TEST(StatusesOf, modifyDynamicVariable) {
    Provoked provoked("modifyDynamicVariable");
    for (const bool save : {false, true}) {
        const auto call = [save](Host& host) { return host.modifyDynamicVariable("net", "v", 1, save); };
        provoked.by(call);
        provoked.by([save](Host& host) { return host.modifyDynamicVariable("net", "", 1, save); });
        provoked.byFaults([](Host&) { testfiles::write(kEntry, ""); }, call);
    }
}

TEST(StatusesOf, sendDynamicInfo) {
    Provoked provoked("sendDynamicInfo");
    provoked.by([](Host& host) { return host.sendDynamicInfo(""); });
    provoked.by([](Host& host) { return host.sendDynamicInfo("relative"); });
    provoked.byFaults(kCompileWithVariables, [](Host& host) { return host.sendDynamicInfo(""); });
    provoked.byFaults([](Host&) { testfiles::write("/etc/tarn/mount/etc/tarn/dynamicinfo", "net:v:1\n"); },
                      [](Host& host) { return host.sendDynamicInfo("/etc/tarn/mount"); });
}

TEST(StatusesOf, clearDynamicVariableInfo) {
    Provoked provoked("clearDynamicVariableInfo");
    const auto call = [](Host& host) { return host.clearDynamicVariableInfo(); };
    provoked.by(call);
    provoked.byFaults([](Host&) { testfiles::write(paths::kDynamicInfo, "net:v:1\n"); }, call);
}

TEST(StatusTables, StandForEveryOperationThatReturnsAStatus) {
    const Header header = readHeader();
    std::set<std::string> documented;
    for (const auto& entry : header.tables) {
        documented.insert(entry.first);
    }
    EXPECT_EQ(documented, header.operations);
    EXPECT_GE(documented.size(), 22U);
}

TEST(StatusTables, AreAllProvokedByATestOfTheirName) {
    std::set<std::string> tested;
    const testing::UnitTest& unit = *testing::UnitTest::GetInstance();
    for (int index = 0; index < unit.total_test_suite_count(); ++index) {
        const testing::TestSuite& suite = *unit.GetTestSuite(index);
        for (int test = 0; std::string(suite.name()) == "StatusesOf" && test < suite.total_test_count(); ++test) {
            tested.insert(suite.GetTestInfo(test)->name());
        }
    }
    EXPECT_EQ(tested, readHeader().operations);
}

}  // namespace
