// The statuses of the policy manager's public header.
#include <unistd.h>

#include <vector>

#include "libtarnpolicysync/Paths.h"
#include "support/FakeLabelManager.h"
#include "support/ManagerAccess.h"
#include "support/StatusTables.h"
#include "support/WriteFaults.h"

namespace {

using fakelabels::Answer;
using fakelabels::fake;
using fakelabels::Names;
using fakelabels::Oids;
using fakelabels::Request;
using statustables::clearFolder;
using statustables::documented;
using statustables::Header;
using statustables::kLabelError;
using statustables::readHeader;
using statustables::testsOf;

constexpr char kHeader[] = TARN_SOURCE_DIR "/src/libtarnpolicysync/PolicyModuleManagerInterface.h";

// A manager with something in every table, ready to compile.
struct Host : ManagerAccess {
    // Back to an empty machine with class definitions for the rule below and a label manager that answers.
    static void reset() {
        clearFolder("/etc/tarn");
        clearFolder("/sys/kernel/security/tarn");
        testfiles::write(paths::kConfiguration, "threadnum=1\n");
        testfiles::write(paths::kClassDefinitions,
                         R"({"file": {"value": 1, "perms": {"read": 1}, "parent": "object"}, "object": {}})");
        fake() = fakelabels::Fake{};
    }

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

struct Provoked : statustables::Provoked<Host> {
    explicit Provoked(const std::string& operation) : statustables::Provoked<Host>(kHeader, operation) {}
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
    const Header header = readHeader(kHeader);
    EXPECT_EQ(documented(header), header.operations);
    EXPECT_GE(header.tables.size(), 22U);
}

TEST(StatusTables, AreAllProvokedByATestOfTheirName) {
    EXPECT_EQ(testsOf("StatusesOf"), readHeader(kHeader).operations);
}

}  // namespace
