// Reads a whole message set from a directory, with a report on each file. For sets whose reports fit into memory; SetWalk
// hands them out one by one.
#ifndef TARN_MESSAGE_SET_READER_H
#define TARN_MESSAGE_SET_READER_H

#include <cstdint>
#include <string>
#include <vector>

#include "libtarnmessage/SetWalk.h"

namespace tarnmessage {

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

// The bytes of one message file; see MessageFile.
int readMessageFile(const std::string& path, std::string& bytes);

}  // namespace tarnmessage

#endif
