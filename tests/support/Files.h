// Small file helpers for the tests. They work on the real absolute paths, which are private to the test process.
#ifndef TARN_TESTS_FILES_H
#define TARN_TESTS_FILES_H

#include <string>
#include <vector>

namespace testfiles {

// The whole content, or an empty text where the file can't be read; exists() tells the two apart.
std::string read(const std::string& path);
// Replaces the content; parent directories are made. Throws std::runtime_error where it can't.
void write(const std::string& path, const std::string& content);
// lstat: true for a dangling link, too.
bool exists(const std::string& path);
// Permission bits of the object itself.
unsigned int mode(const std::string& path);
// Names in a directory without "." and "..", sorted.
std::vector<std::string> list(const std::string& directory);
void makeDirectories(const std::string& path);
void link(const std::string& target, const std::string& path);
// Returns when a change of a file below this directory gets a later time than every change before: kernels count in ticks.
void awaitNextTimeStamp(const std::string& directory);
// Number of open descriptors of this process.
int openDescriptors();

}  // namespace testfiles

#endif
