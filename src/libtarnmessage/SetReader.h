// Reads a whole message set from a directory, file by file in the order of delivery, with what was found in each. Needs
// no privilege, writes nothing, logs nothing, and holds one file at a time.
#ifndef TARN_MESSAGE_SET_READER_H
#define TARN_MESSAGE_SET_READER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "libtarnmessage/MessageReader.h"

namespace tarnmessage {

struct FileReport {
    std::string name;                   // without the directory
    std::uint64_t bytes = 0;            // read from the file
    kernelmsg::MessageHeader header{};  // zero when the file holds none
    std::optional<Finding> finding;     // what the kernel would refuse
    std::string problem;                // anything else: missing, unreadable, not the message that its name says

    bool sound() const { return !finding && problem.empty(); }
};

struct SetReport {
    std::string problem;            // why the directory could not be read
    std::vector<FileReport> files;  // begin, namespace (where there is one), policies by name, end
    std::uint64_t records = 0;      // policy records of the sound files
    FunctionTable functions;        // what the namespace message announces

    // True when every message of a complete set would be taken.
    bool sound() const;
};

// Sees the content of a set; onFile stands before the records of each file.
class SetVisitor : public MessageVisitor {
public:
    virtual void onFile(const std::string& /*name*/) {}
};

// As the sender does, it passes over names with a leading dot and whatever is no regular file; a symbolic link is
// reported, for its rules would not be delivered. A missing begin or end message is reported, a missing namespace
// message only by the calls that need it.
SetReport readSet(const std::string& directory, SetVisitor& visitor);
SetReport readSet(const std::string& directory);

// Reads one message file, at most one byte more than a message may have. 0, or the errno of what failed; EINVAL where
// the path is no regular file, ELOOP where it is a symbolic link.
int readMessageFile(const std::string& path, std::string& bytes);

}  // namespace tarnmessage

#endif
