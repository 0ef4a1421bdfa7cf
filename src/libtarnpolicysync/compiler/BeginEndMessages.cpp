#include <securec.h>

#include "Common/Log.h"
#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

unsigned int compileKernelMsg(unsigned int type) {
    const char* path = nullptr;
    if (type == kernelmsg::kTypeBegin) {
        path = paths::kBeginMessage;
    } else if (type == kernelmsg::kTypeEnd) {
        path = paths::kEndMessage;
    } else {
        return 0;
    }
    const kernelmsg::MessageHeader header{kernelmsg::kFormat, sizeof(kernelmsg::MessageHeader), 0, 0, type};
    char message[sizeof header];
    static_cast<void>(memcpy_s(message, sizeof message, &header, sizeof header));  // sizes are equal by construction
    const int result = writeFileData(path, message, sizeof message, paths::kWriteFlags);
    if (result != 0) {
        TARN_LOG(kLogError, "###ERROR: in func %s, write %s error.", "compileKernelMsg", path);
    }
    return static_cast<unsigned int>(result);
}
