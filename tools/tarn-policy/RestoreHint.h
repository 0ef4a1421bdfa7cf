// What to say where a delivery, or what should have led to one, went wrong: how the kernel gets its last rules again.
#ifndef TARN_POLICY_RESTORE_HINT_H
#define TARN_POLICY_RESTORE_HINT_H

#include <string>

std::string restoreHint();

#endif
