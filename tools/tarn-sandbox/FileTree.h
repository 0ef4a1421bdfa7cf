// Copies and removes files and folders.
#ifndef TARN_SANDBOX_FILE_TREE_H
#define TARN_SANDBOX_FILE_TREE_H

#include <string>

namespace sandbox {

// All throw Failure with the path that is concerned.
void makeDirectories(const std::string& path);

// Copies a regular file with its permission bits; a link is followed. The target's folder must exist.
void copyFile(const std::string& from, const std::string& to);

// Copies what stands in a folder: regular files, folders and links (as links). Others, such as FIFOs, are left out.
void copyFolder(const std::string& from, const std::string& to);

// Makes `to` hold what `from` holds: copies first, then removes what is not in `from`.
void mirrorFolder(const std::string& from, const std::string& to);

// Removes a folder with all that it holds, links not followed, other file systems not entered. False where it can't.
bool removeTree(const std::string& path);

}  // namespace sandbox

#endif
