// Every fixed path of the stages, and the one place where the names of message files and kernel entries are built.
#ifndef TARN_PATHS_H
#define TARN_PATHS_H

#include <fcntl.h>

#include <cstddef>
#include <string>

namespace paths {

// How every message and state file is opened: replaced as a whole, never through a link.
inline constexpr unsigned int kWriteFlags = O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW;

// What the library reads.
inline constexpr char kConfiguration[] = "/etc/tarn/tarn-policy.conf";
inline constexpr char kClassDefinitions[] = "/etc/tarn/tarn-main/class-def.conf";

// State files under their final names, and the temporary twins that a compilation writes and a delivery promotes.
inline constexpr char kSceneInfo[] = "/etc/tarn/scene_info";
inline constexpr char kSceneInfoTmp[] = "/etc/tarn/.scene_info";
inline constexpr char kFuncInfo[] = "/etc/tarn/funcinfo";
inline constexpr char kFuncInfoTmp[] = "/etc/tarn/.funcinfo";
inline constexpr char kUserInfo[] = "/etc/tarn/userinfo";
inline constexpr char kUserInfoTmp[] = "/etc/tarn/.userinfo";
inline constexpr char kDynamicInfo[] = "/etc/tarn/dynamicinfo";

// The compiled set under its temporary and its final name.
inline constexpr char kPolicyDataTmp[] = "/etc/tarn/.policydata";
inline constexpr char kPolicyData[] = "/etc/tarn/policydata";
inline constexpr char kSectionData[] = "/etc/tarn/.sectiondata";  // the files of one recompiled section
inline constexpr char kBeginMessage[] = "/etc/tarn/.policydata/beginmsg";
inline constexpr char kNamespaceMessage[] = "/etc/tarn/.policydata/namemsg";
inline constexpr char kEndMessage[] = "/etc/tarn/.policydata/endmsg";
inline constexpr char kBeginName[] = "beginmsg";
inline constexpr char kNamespaceName[] = "namemsg";
inline constexpr char kEndName[] = "endmsg";

// The kernel's entries.
inline constexpr char kKernelDeliver[] = "/sys/kernel/security/tarn/policy_deliver";
inline constexpr char kKernelParameters[] = "/sys/kernel/security/tarn/paras/";

// What precedes the slice number in the names of the files of one key's rules.
inline std::string keyStem(const std::string& key) {
    return key + "_";
}

// What every file of one namespace and group carries in its name, and by which a section's files are found again.
inline std::string sectionTag(const std::string& nameSpace, const std::string& group) {
    return "_" + nameSpace + "_" + group + "_";
}

// What stands in the place of the key in the names of the files of a section: keyStem of it is the key of the section's
// last rule, followed by the tag.
inline std::string sectionKey(const std::string& key, const std::string& nameSpace, const std::string& group) {
    return key + "_" + nameSpace + "_" + group;
}

// The prefix of the files that one compiler thread writes.
inline std::string slicePrefix(const std::string& stem, std::size_t slice) {
    return stem + std::to_string(slice);
}

// The name of one policy message file: prefix, namespace, group and file index, joined by "_". The pieces may hold "_"
// themselves, so two groups can come out at one name; the later file then replaces the earlier one.
inline std::string policyFileName(const std::string& prefix, const std::string& nameSpace, const std::string& group,
                                  int index) {
    return prefix + "_" + nameSpace + "_" + group + "_" + std::to_string(index);
}

inline std::string inDirectory(const std::string& directory, const std::string& name) {
    return directory + "/" + name;
}

// The kernel entry of one dynamic variable.
inline std::string kernelParameter(const std::string& nameSpace, const std::string& variable) {
    return kKernelParameters + nameSpace + "/" + variable;
}

// True for the three messages that frame a set and have their own place in the order of delivery.
inline bool isFrameMessage(const std::string& name) {
    return name == kBeginName || name == kEndName || name == kNamespaceName;
}

}  // namespace paths

#endif
