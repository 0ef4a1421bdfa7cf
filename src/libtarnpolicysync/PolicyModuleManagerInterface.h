// The policy manager: what a host includes. One object takes the rule set, compiles it into kernel messages under
// "/etc/tarn/.policydata" and delivers them to the kernel module. The order of use:
//
//     PolicyModuleManagerInterface manager;                        // reads configuration, name numbers, variables
//     manager.prepareWork();                                       // class definitions
//     manager.setNamespaceFuncInfo("net", "netmod", "check");      // what the kernel may be told about
//     manager.setFileToGetLabelMap("subject_file", "/usr/bin/a");  // names whose labels the rules need
//     manager.addPolicy("base", group);                            // PolicyDb group, filled with rules
//     unsigned int status = manager.compileData();
//     if (status == 0) {
//         status = manager.sendPolicy();
//     }
//
// Failures are logged once, where they are found, in "/var/log/tarn-policy.log" (Common.h: writeLog). Statuses are 0
// for success, 1 for a local failure, the errno of a refused kernel write unchanged (KernelAnswers.h lists the kernel's
// own answers), and -1 from some file operations: a file could not be opened, or its path leads out of the allowed
// trees. Where a status is unsigned, -1 reads 0xFFFFFFFF. In the lists below, "errno" stands for any errno of a failed
// write and "label" for any error code of the label manager.
//
// One host drives one object, and only one process at a time may work on the files under "/etc/tarn". From several
// threads at once may be called:
//   - addPolicy, the set... and addTo... operations, initNamespaceFuncInfo and clearAllPolicy, while no compilation or
//     delivery runs;
//   - modifyDynamicVariable and sendDynamicInfo at any time;
//   - getCapOid at any time, and getParentClass while no prepareWork runs, neither of which touches a compilation.
// Everything else, construction, destruction and prepareWork included, is for one thread at a time.
//
// A mutex that can't be locked throws std::system_error, an allocation that fails std::bad_alloc; in a compiler thread
// either of them fails the rules of that thread instead, and the compilation returns 1.
//
// Size and order of the members are part of the binary interface.
#ifndef TARN_POLICY_MODULE_MANAGER_INTERFACE_H
#define TARN_POLICY_MODULE_MANAGER_INTERFACE_H

#include <json/value.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "PolicyTypes.h"

#ifndef TARN_API
#define TARN_API __attribute__((visibility("default")))
#endif

// The 30 words that name a device type; a rule of such a permission class has a device for its object. Compared
// exactly.
TARN_API extern const std::vector<std::string> deviceTypeList;

// The 38 capability names; a name's position is its Linux capability number.
TARN_API extern const std::vector<std::string> capabilityList;

// True for the operator codes of a condition node: 1, 2, 3 and 5 to 10.
TARN_API bool isOperator(unsigned int code);

// Turns a condition from postfix into prefix order. `prefix` is cleared and filled. Surplus operands are kept, the last
// one first.
// Status:
//     0  converted
//     1  an operator lacks operands, logged at level 1; `prefix` is empty
TARN_API int postToPreFix(std::vector<ExprNode> postfix, std::vector<ExprNode>& prefix);

// Writes the begin message (type 1) or the end message (type 2), 20 bytes each, into "/etc/tarn/.policydata", which
// must exist. An existing file is replaced, a link is refused. Any other type writes nothing. A failure is logged at
// level 1 and leaves what was written.
// Status:
//     0           written, or unknown type
//     0xFFFFFFFF  the file could not be opened or its path was refused
//     errno       the write failed
TARN_API unsigned int compileKernelMsg(unsigned int type);

// Cuts rules into n slices of nearly equal length, in order, the longer ones first. `slices` must hold n vectors; each
// is replaced by copies.
// Status:
//     0  cut
//     1  n is less than 1, logged at level 1
TARN_API int splitVector(const std::vector<PolicyNode>& nodes, int n, std::vector<std::vector<PolicyNode>>& slices);

class TARN_API PolicyModuleManagerInterface {
public:
    // Reads "/etc/tarn/tarn-policy.conf" (threadnum, printtime, loglevel, logflag), the name numbers of
    // "/etc/tarn/scene_info" and the dynamic variables of "/etc/tarn/dynamicinfo". Missing files are no error; bad
    // lines are logged and skipped. A file that can't be read, and a link or directory in its place, gives one line at
    // level 1 and counts as missing. Sets the process-wide log level. Exceptions, as for want of memory, reach the host.
    PolicyModuleManagerInterface();
    // Releases the tables and takes no mutex: no other call may be running. Files and kernel stay as they are.
    ~PolicyModuleManagerInterface();
    PolicyModuleManagerInterface(const PolicyModuleManagerInterface&) = delete;
    PolicyModuleManagerInterface& operator=(const PolicyModuleManagerInterface&) = delete;

    // Loads the class definitions "/etc/tarn/tarn-main/class-def.conf", which every compilation of rules needs. A later
    // call replaces them. After a failing one those from before stay, where the file is missing, empty or begins with
    // no JSON, or what was read before the mistake takes their place. A host that passes over the status therefore
    // compiles with old or partial definitions.
    // Status:
    //     0  loaded
    //     1  missing or not valid JSON, logged at level 1
    int prepareWork();

    // Stores a deep copy of `db` under `key`; an earlier group of that key is replaced, never extended.
    // Status:
    //     0  stored
    int addPolicy(std::string key, PolicyDb& db);

    // Empties functions, namespaces, rules, files to label, devices, kernel modules and users, in this order, each
    // under its mutex alone; where a lock throws, that table and those after it stay. Name numbers, dynamic variables,
    // class definitions, configuration, lap times and the mark of a full compilation (sendPolicy) stay.
    void clearAllPolicy();

    // Registers a namespace without functions; one that is known keeps its functions.
    // Status:
    //     0  registered
    //     1  empty name, logged at level 1
    int setNamespaceInfo(std::string strNamespace);

    // Appends the function "strKmodName:strFuncName" to its namespace, which is created where needed. Its place in the
    // list becomes its number with the next namespace message. One that is known already stays where it is.
    // Status:
    //     0  registered
    //     1  an empty argument, logged at level 1
    int setNamespaceFuncInfo(std::string strNamespace, std::string strKmodName, std::string strFuncName);

    // Adds the namespaces and functions of "/etc/tarn/funcinfo", those of the last finished set, to those registered. A
    // missing file is no error; bad lines are logged at level 1 and skipped. A file that can't be read, and a link or
    // directory in its place, gives one line at level 1 and adds nothing.
    void initNamespaceFuncInfo();

    // Stores the numeric identifier of a user name, replacing an earlier one.
    // Status:
    //     0  stored
    //     1  empty name, logged at level 1
    int setUidInfo(std::string sUserName, unsigned int uid);

    // Registers a name whose labels are wanted, under its kind: "subject_pkg", "subject_file", "subject_recurfile",
    // "object_pkg", "object_file", "object_recurfile", "object_dir" or "object_lnkfile". Names under other keys are
    // fetched and never used.
    // Status:
    //     0  registered, or known already
    //     1  an empty argument, logged at level 1
    int setFileToGetLabelMap(std::string sMapKey, std::string sMapValue);

    // Registers a device whose identifier is wanted; duplicates are kept.
    // Status:
    //     0  registered
    //     1  empty name, logged at level 1
    int addToDeviceVec(std::string device);

    // Registers a kernel module whose identifier is wanted; duplicates are kept.
    // Status:
    //     0  registered
    //     1  empty name, logged at level 1
    int addToKmodVec(std::string kmod);

    // Gives the name of the class that a permission class derives from. A number or truth value in its place comes as
    // its text, null as the empty text.
    // Status:
    //     0  `parent` is set
    //     1  unknown class, or definitions where an object or array stands for the name or anything but an object or
    //        null for the class (level 1), or a class without parent (level 4); `parent` is as it was
    int getParentClass(std::string className, std::string& parent);

    // Stores the number of a capability, named in any letter case, in the first word of `oid`; the other words stay.
    // Status:
    //     0  stored
    //     1  empty or unknown name, logged at level 1
    int getCapOid(std::string capName, TARN_ID& oid);

    // Compiles everything registered into "/etc/tarn/.policydata", which is removed and made anew, with the side files
    // "/etc/tarn/.scene_info", ".funcinfo" and ".userinfo". Asks the label manager for labels and identifiers. Loads no
    // class definitions (prepareWork) and clears no table (clearAllPolicy). From a success on, until a section is
    // compiled, this object's sendPolicy drops the dynamic variables.
    //
    // After a failure everything stays that was made until then: the partial directory, until the next compilation,
    // and the side files as far as it came (".scene_info" before the namespace message, ".funcinfo" after it,
    // ".userinfo" last). Those that it did not reach are an earlier compilation's, where there are any.
    // Status:
    //     0           compiled
    //     1           directory, namespace message or rules failed (a policy message that could not be written, too)
    //     0xFFFFFFFF  another file could not be opened or its path was refused
    //     errno       the write of another file failed
    //     label       the label manager's error code
    unsigned int compileData();

    // compileData, then finalizeTmpFile: a set under its final name for a later initial delivery.
    // Status:
    //     0           compiled and renamed
    //     1           as compileData, or a rename failed
    //     0xFFFFFFFF  as compileData, or a rename's path was refused or its directory could not be opened
    //     errno       as compileData
    //     label       the label manager's error code
    unsigned int compileInitData();

    // Recompiles the rules of one namespace (`first`) and group (`second`) and puts them in the place of their old
    // files in "/etc/tarn/.policydata", which is copied from the last finished set "/etc/tarn/policydata" where it does
    // not exist. Begin and end message are kept, the namespace message is written anew: functions must be registered in
    // their old order (initNamespaceFuncInfo), or records of other sections call others than they did. The side files
    // are written anew, too. An existing "/etc/tarn/.policydata" is used as it stands, complete or not; nothing checks
    // it. Old files are recognised as mergeSectionPolicy does, so those of strangers can go with them. On success this
    // object's sendPolicy replays the dynamic variables again; after a failure it does what it would have done before.
    // A failure leaves what its stage had made: the set with the old files of the section but a new namespace message
    // where the rules failed, without some of the old and new files where the merge failed, merged where the users
    // failed. Without a finished set it leaves an empty "/etc/tarn/.policydata", which the next call would use.
    // Status:
    //     0           compiled and merged
    //     1           directory, namespace message, rules or merge failed (a policy message that could not be written,
    //                 too)
    //     0xFFFFFFFF  another file could not be opened or its path was refused
    //     errno       the write of another file failed
    //     label       the label manager's error code
    unsigned int compileSectionPolicy(std::string first, std::string second);

    // Removes from "/etc/tarn/.policydata" every policy file whose name holds "_first_second_", wherever in the name,
    // and moves in the files of "/etc/tarn/.sectiondata", but for names that make no safe path (level 1). In the set,
    // names that begin with a dot stay, and links are neither followed nor removed; from the section's folder, names
    // that begin with a dot are moved like any other, and links are left. Files on a file system that reports no types
    // stay in both.
    // Status:
    //     0  merged
    //     1  a folder could not be opened (that of the section: level 2), or a removal or rename failed: the set may
    //        lack files of the section
    int mergeSectionPolicy(std::string first, std::string second);

    // Delivers one message file, at most 1 MiB of it, in one write to the kernel. A missing file counts as sent, with a
    // notice. The path must lie under "/etc/tarn/" or "/sys/kernel/security/tarn/".
    // Status:
    //     0           sent, or no such file
    //     1           path refused, not readable or a link
    //     0xFFFFFFFF  the kernel's entry could not be opened or its path was refused
    //     errno       the kernel refused the message
    unsigned int sendSinglePolicy(const std::string& path);

    // The same for any path without escapes, for instance below a mount point.
    // Status:
    //     0           sent, or no such file
    //     1           path refused, not readable or a link
    //     0xFFFFFFFF  the kernel's entry could not be opened or its path was refused
    //     errno       the kernel refused the message
    unsigned int sendSinglePolicyWithFullPath(const std::string& path);

    // Delivers "/etc/tarn/.policydata": begin message, namespace message, every other regular file whose name does not
    // begin with a dot, end message. Then replays the dynamic variables, or drops them where this object's last
    // successful compilation was a full one (whatever set is there), and renames the temporary files: a rename that
    // fails finds the variables replayed or dropped. Stops at the first refused message; what was sent stays in the
    // kernel and the files keep their temporary names. Each refused policy file leaves one directory stream open, so a
    // host that tries again and again runs out of descriptors. Where "/etc/tarn/.policydata" is a link to another
    // folder under "/etc/tarn/", begin and namespace message go out before the folder can't be opened. Without a set to
    // deliver it returns 0 with a notice.
    // Status:
    //     0           delivered, or nothing to deliver
    //     1           a local failure: a file could not be read, a rename failed, or the directory could not be opened
    //                 (the only one that is not logged)
    //     0xFFFFFFFF  the kernel's entry or a parent directory could not be opened, or a path was refused
    //     errno       the kernel refused a message
    unsigned int sendPolicy();

    // Delivers the finished set "/etc/tarn/policydata" below a mount point and replays the dynamic variables of its
    // "/etc/tarn/dynamicinfo". With an empty mount point these are the set of the running machine and the variables of
    // this object; with "/", the same set and the variables of the machine's file. Any other mount point may lie
    // anywhere, but must stand in the mount table (where that can be read) and must not end in "/". Renames and removes
    // nothing and does not ask what was compiled before. Without a set, or with one that holds no policy files, nothing
    // is sent or replayed. Links, names that begin with a dot and files on a file system that reports no types are not
    // sent.
    // Status:
    //     0           delivered, or nothing to deliver
    //     1           a local failure: bad mount point, folder (a link, for instance) or file not readable
    //     0xFFFFFFFF  the kernel's entry could not be opened or its path was refused, or the variables were not
    //                 readable
    //     errno       the kernel refused a message
    unsigned int sendInitPolicy(std::string mountPoint);

    // Renames ".scene_info", ".funcinfo", ".userinfo" and ".policydata" under "/etc/tarn" to their final names; an
    // older "/etc/tarn/policydata" is removed first. A rename of ".funcinfo" or ".userinfo" that fails, for instance
    // because the file is missing, is passed over.
    // Status:
    //     0   renamed
    //     1   ".scene_info" or ".policydata" could not be renamed, or the older directory not removed
    //     -1  a file's path was refused or a parent directory could not be opened
    int finalizeTmpFile();

    // Switches a dynamic variable of the kernel on (any value but 0) or off, keeps the value, and with `save` rewrites
    // "/etc/tarn/dynamicinfo". The kernel must provide the entry. The file can't hold every value and name: a value
    // above 2147483647 and a name with ":" are saved, but refused or misread by the next object.
    // Status:
    //     0  switched
    //     1  bad name, entry missing or not writable (nothing changed), or the file could not be written (kernel and
    //        table hold the new value)
    int modifyDynamicVariable(std::string nsName, std::string varName, unsigned int value, bool save);

    // Replays dynamic variables into the kernel: those of this object, or, with a mount prefix, those of the prefix's
    // "/etc/tarn/dynamicinfo". Single refusals are logged and passed over. What reached the kernel is kept in this
    // object; the file is not rewritten.
    // Status:
    //     0   replayed
    //     -1  bad prefix or unreadable file
    int sendDynamicInfo(std::string prefix);

    // Forgets all dynamic variables and removes "/etc/tarn/dynamicinfo". The kernel's switches stay as they are.
    // Status:
    //     0  cleared
    //     1  the file could not be removed
    int clearDynamicVariableInfo();

protected:
    using LabelAnswer = std::map<std::string, std::map<std::string, std::vector<TARN_ID>>>;
    using OidMap = std::map<std::string, TARN_ID>;
    using DynamicVariables = std::map<std::tuple<std::string, std::string>, unsigned int>;

    // core
    void initConfigInfo();
    int importPermData();
    int transPerm(std::string className, std::string permName, int& classValue, int& permValue);
    unsigned int getPolicyType(TARN_ID id);
    void printTime(std::string stage, std::string label);

    // registry
    void importNameInfo();
    int getNameId(std::string strNamespace, int& id);
    int getFuncId(std::string strNamespace, std::string strModuleName, std::string strFuncName, int& id);
    int compileKernelNamespaceMsg();

    // labels
    int verifyLabelResult(LabelAnswer& result);
    int parsePolicyData();
    int processUserInfo();

    // compiler
    unsigned int makeSinglePolicy(PolicyNode node, TARN_ID subject, TARN_ID object, char*& cursor, unsigned long& used);
    unsigned int makeSingleExprPolicy(PolicyNode node, ExprNode expr, char*& cursor, unsigned long& used);
    unsigned int makeSingleDoFuncPolicy(PolicyNode node, DoFuncNode doFunc, char*& cursor, unsigned long& used);
    int compileKernelPolicyMsg();
    int compileSectionPolicyMsg(std::string first, std::string second);
    int compileKernelPolicyThread(std::string prefix, std::vector<PolicyNode> slice, std::string directory,
                                  std::vector<int>& results, std::mutex& mutex);

    // delivery
    unsigned int sendSinglePolicyInternal(const std::string& path, bool fullPath);
    int initDynamicVariableInfo();
    int importDynamicVariableInfo(std::string prefix, DynamicVariables& map, bool escapeCheckOnly);

    // Each table is guarded by the mutex after it; no operation holds two of them.
    std::map<std::string, PolicyDb> m_mapPolicy;
    std::mutex m_mutexPolicy;
    std::unordered_map<std::string, std::vector<std::string>> m_mapNamespaceFunc;
    std::mutex m_mutexNamespaceFunc;
    std::map<std::string, std::vector<std::string>> m_mapFileToGetLabel;
    std::mutex m_mutexFileToGetLabel;
    std::vector<std::string> deviceVec;
    std::mutex deviceVecMutex;
    std::vector<std::string> kmodVec;
    std::mutex kmodVecMutex;
    std::unordered_map<std::string, unsigned int> m_mapUserUid;
    std::mutex m_mutexUserUid;
    std::unordered_map<std::string, unsigned int> m_mapNameId;
    std::mutex m_mutexNameId;
    std::map<std::pair<std::string, std::string>, unsigned int> m_mapFuncId;
    std::mutex m_mutexFuncId;
    DynamicVariables dynamicVarMap;
    std::mutex dynamicVarMutex;

    Json::Value classDefRoot;     // written by importPermData alone, read by the compiler threads
    std::uint16_t threadnum = 0;  // compiler threads; never 0 after construction
    bool fullCompiled = false;    // the last successful compilation was a full one
    unsigned int printtime = 0;   // non-zero: stage stopwatch on
    std::unordered_map<std::string, std::int64_t> timeMap;  // stage to milliseconds
    std::mutex timeMutex;
    bool logflag = false;  // extra traces and byte dumps

private:
    struct Private;
    std::unique_ptr<Private> m_private;  // whatever is added later lives behind it, so that hosts need no rebuild
};

#endif
