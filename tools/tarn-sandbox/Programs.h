// What a program needs to be started: where it stands, its libraries, its interpreter.
#ifndef TARN_SANDBOX_PROGRAMS_H
#define TARN_SANDBOX_PROGRAMS_H

#include <string>
#include <vector>

namespace sandbox {

// The path of a command as a shell would find it; empty where there is none.
std::string findProgram(const std::string& command);

// Absolute paths of what must stand beside a file for it to be run: the libraries and the loader of a dynamic program,
// the interpreter of a script. Empty for any other file. The libraries of an interpreter are not in the answer.
std::vector<std::string> needsOf(const std::string& path);

}  // namespace sandbox

#endif
