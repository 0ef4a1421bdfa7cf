// The checks of everything that stands outside the rules. Internal to this library.
#ifndef TARN_POLICYDOC_DECLARATION_CHECK_H
#define TARN_POLICYDOC_DECLARATION_CHECK_H

#include "libtarnpolicydoc/Check.h"

namespace policydoc {

void checkDeclarations(const PolicyDocument& document, const CheckContext& context, Diagnostics& diagnostics);

}  // namespace policydoc

#endif
