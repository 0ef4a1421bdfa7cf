#include <json/reader.h>

#include <algorithm>
#include <cctype>
#include <exception>
#include <fstream>

#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

const std::vector<std::string> deviceTypeList{
    "usb",     "pci",        "serial",    "parallel",      "ieee1394",
    "pcmcia",  "pcie",       "sata",      "hdmi",          "dp",
    "cdrom",   "printer",    "wireless",  "ethernet",      "bluetooth",
    "video",   "audio_jack", "audio_mic", "audio_speaker", "infrared",
    "modem",   "mmc",        "scsi_raid", "floppy_drive",  "multi_serial_card",
    "hotspot", "scanner",    "wince",     "printer_local", "printer_net"};

const std::vector<std::string> capabilityList{"CAP_CHOWN",
                                              "CAP_DAC_OVERRIDE",
                                              "CAP_DAC_READ_SEARCH",
                                              "CAP_FOWNER",
                                              "CAP_FSETID",
                                              "CAP_KILL",
                                              "CAP_SETGID",
                                              "CAP_SETUID",
                                              "CAP_SETPCAP",
                                              "CAP_LINUX_IMMUTABLE",
                                              "CAP_NET_BIND_SERVICE",
                                              "CAP_NET_BROADCAST",
                                              "CAP_NET_ADMIN",
                                              "CAP_NET_RAW",
                                              "CAP_IPC_LOCK",
                                              "CAP_IPC_OWNER",
                                              "CAP_SYS_MODULE",
                                              "CAP_SYS_RAWIO",
                                              "CAP_SYS_CHROOT",
                                              "CAP_SYS_PTRACE",
                                              "CAP_SYS_PACCT",
                                              "CAP_SYS_ADMIN",
                                              "CAP_SYS_BOOT",
                                              "CAP_SYS_NICE",
                                              "CAP_SYS_RESOURCE",
                                              "CAP_SYS_TIME",
                                              "CAP_SYS_TTY_CONFIG",
                                              "CAP_MKNOD",
                                              "CAP_LEASE",
                                              "CAP_AUDIT_WRITE",
                                              "CAP_AUDIT_CONTROL",
                                              "CAP_SETFCAP",
                                              "CAP_MAC_OVERRIDE",
                                              "CAP_MAC_ADMIN",
                                              "CAP_SYSLOG",
                                              "CAP_WAKE_ALARM",
                                              "CAP_BLOCK_SUSPEND",
                                              "CAP_AUDIT_READ"};

namespace {

constexpr char kWrongClass[] = "###ERROR: in func %s, wrong perm class %s.";
constexpr char kWrongPermission[] = "###ERROR: in func %s, wrong permission %s.";

// The member, or null. Throws what the JSON library throws for a value that is no object.
const Json::Value* findMember(const Json::Value& object, const std::string& name) {
    return object.find(name.data(), name.data() + name.size());
}

// Finds the class and sets its number, where it has one. Null for an unknown class and for one whose content is no
// class.
const Json::Value* readClass(const Json::Value& classes, const std::string& className, int& classValue) {
    try {
        const Json::Value* definition = findMember(classes, className);
        if (definition == nullptr) {
            return nullptr;
        }
        if (const Json::Value* value = findMember(*definition, "value")) {
            classValue = static_cast<int>(value->asUInt());
        }
        return definition;
    } catch (const std::exception&) {
        return nullptr;
    }
}

// The permission's number, where the class lists permissions. False for an unknown one or a list that is none.
bool readPermission(const Json::Value& definition, const std::string& permName, int& permValue) {
    try {
        const Json::Value* perms = findMember(definition, "perms");
        if (perms == nullptr) {
            return true;
        }
        const Json::Value* perm = findMember(*perms, permName);
        if (perm == nullptr) {
            return false;
        }
        permValue = static_cast<int>(perm->asUInt());
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

int collect(std::mutex& mutex, std::vector<std::string>& names, std::string&& name) {
    const std::lock_guard<std::mutex> lock(mutex);
    names.push_back(std::move(name));
    return 0;
}

}  // namespace

int PolicyModuleManagerInterface::importPermData() {
    bool parsed = false;
    try {
        std::ifstream stream(paths::kClassDefinitions);
        Json::Reader reader;
        parsed = reader.parse(stream, classDefRoot, false);
    } catch (const std::exception&) {  // nesting beyond the reader's limit
        parsed = false;
    }
    if (!parsed) {
        TARN_LOG(kLogError, "###ERROR: in func %s, json parsed failed. ", "importPermData");
        return 1;
    }
    return 0;
}

int PolicyModuleManagerInterface::transPerm(std::string className, std::string permName, int& classValue,
                                            int& permValue) {
    const Json::Value* definition = readClass(classDefRoot, className, classValue);
    if (definition == nullptr) {
        TARN_LOG(kLogError, kWrongClass, "transPerm", className.c_str());
        return 1;
    }
    if (!readPermission(*definition, permName, permValue)) {
        TARN_LOG(kLogError, kWrongPermission, "transPerm", permName.c_str());
        return 1;
    }
    return 0;
}

int PolicyModuleManagerInterface::getParentClass(std::string className, std::string& parent) {
    try {
        const Json::Value& classes = classDefRoot;
        if (const Json::Value* definition = findMember(classes, className)) {
            if (const Json::Value* name = findMember(*definition, "parent")) {
                parent = name->asString();
                return 0;
            }
            TARN_LOG(kLogDetail, "###INFO: in func %s, perm class %s doesn't have parent. ", "getParentClass",
                     className.c_str());
            return 1;
        }
    } catch (const std::exception&) {  // not a document of classes: said below
    }
    TARN_LOG(kLogError, kWrongClass, "getParentClass", className.c_str());
    return 1;
}

int PolicyModuleManagerInterface::getCapOid(std::string capName, TARN_ID& oid) {
    if (capName.empty()) {
        TARN_LOG(kLogError, "###ERROR: in func %s, empty sCapName.", "getCapOid");
        return 1;
    }
    std::transform(capName.begin(), capName.end(), capName.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const auto found = std::find(capabilityList.begin(), capabilityList.end(), capName);
    if (found == capabilityList.end()) {
        TARN_LOG(kLogError, "###ERROR: in func %s, wrong sCapName %s.", "getCapOid", capName.c_str());
        return 1;
    }
    const std::int64_t number = found - capabilityList.begin();
    oid.uiWord[0] = static_cast<std::uint64_t>(number);
    return 0;
}

int PolicyModuleManagerInterface::addToDeviceVec(std::string device) {
    if (device.empty()) {
        TARN_LOG(kLogError, "###ERROR: in func %s, empty sDevice.", "addToDeviceVec");
        return 1;
    }
    return collect(deviceVecMutex, deviceVec, std::move(device));
}

int PolicyModuleManagerInterface::addToKmodVec(std::string kmod) {
    if (kmod.empty()) {
        TARN_LOG(kLogError, "###ERROR: in func %s, empty sKmod.", "addToKmodVec");
        return 1;
    }
    return collect(kmodVecMutex, kmodVec, std::move(kmod));
}
