// Writes the page that stat was asked for, whole or not at all.
#ifndef TARN_POLICY_PAGE_FILE_H
#define TARN_POLICY_PAGE_FILE_H

#include <string>

// Replaces a regular file, or makes it, by way of a new file beside it. Follows no link.
// Throws Failure, and leaves nothing behind then.
void writePage(const std::string& path, const std::string& page);

#endif
