// The three calls of the label manager, through which names become identifiers. Each returns 0 for success; any other
// value is the label manager's own error code. The substitute in this folder answers from a table file; the real
// library takes its place at run time, by its soname.
#ifndef TARN_LABEL_MANAGER_H
#define TARN_LABEL_MANAGER_H

#include <map>
#include <string>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"

// Fills `answer`, passed empty, for each kind of the request with its names and all labels of each name. A name without
// labels is missing from the answer or has an empty list.
__attribute__((visibility("default"))) int policies_parse(
    const std::map<std::string, std::vector<std::string>>& request,
    std::map<std::string, std::map<std::string, std::vector<TARN_ID>>>& answer);

// Fills `oids`, passed empty, with one identifier for each device name.
__attribute__((visibility("default"))) int getDeviceOids(std::vector<std::string> devices,
                                                         std::map<std::string, TARN_ID>& oids);

// Fills `oids`, passed empty, with one identifier for each kernel-module name.
__attribute__((visibility("default"))) int getKernelModuleOids(std::vector<std::string> modules,
                                                               std::map<std::string, TARN_ID>& oids);

#endif
