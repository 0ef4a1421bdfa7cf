// Whole files, with errors as Failures. Links in the last component are not followed.
#ifndef TARN_POLICY_FILES_H
#define TARN_POLICY_FILES_H

#include <string>

bool fileExists(const std::string& path);
bool isFolder(const std::string& path);
std::string readWholeFile(const std::string& path);
// Mode 0440, replaced and synced.
void writeWholeFile(const std::string& path, const std::string& text);

#endif
