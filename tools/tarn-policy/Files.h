// Whole files, with errors as Failures. Links in the last component are not followed.
#ifndef TARN_POLICY_FILES_H
#define TARN_POLICY_FILES_H

#include <optional>
#include <string>
#include <utility>

// Seconds and nanoseconds, by the clock of the file system.
using FileTime = std::pair<long long, long>;

struct FileTimes {
    FileTime content;  // of a folder: when it last got or lost an entry
    FileTime status;   // with every change and with a rename of the file itself
};

// Nothing for a file that is not there.
std::optional<FileTimes> fileTimes(const std::string& path);

bool fileExists(const std::string& path);
bool isFolder(const std::string& path);
// Regular files alone: what stands in a file's place is refused and never waited for.
std::string readWholeFile(const std::string& path);
// Mode 0440, replaced and synced.
void writeWholeFile(const std::string& path, const std::string& text);
// The same by way of a new file beside it, so that the old text or the new one stands there, whatever happens.
void replaceWholeFile(const std::string& path, const std::string& text);
// A missing file is removed already.
void removeFile(const std::string& path);

// Why no message could be written to a folder now: the errno of an attempt to make room for one, or 0.
int whyNoRoom(const std::string& folder);

// What to do about the errno of a file; `otherwise` where that does not tell.
std::string adviceForFile(int error, const std::string& otherwise = "");

#endif
