#include "libtarnpolicysync/PolicyTypes.h"

#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

bool isOperator(unsigned int code) {
    const bool beforeCall =
        code == kernelmsg::kExprNot || code == kernelmsg::kExprFirstBinary || code == kernelmsg::kExprSecondBinary;
    return beforeCall || (code >= kernelmsg::kExprThirdBinary && code <= kernelmsg::kExprLastBinary);
}

unsigned int PolicyModuleManagerInterface::getPolicyType(TARN_ID id) {
    return kernelmsg::policyTypeOf(id);
}
