// Walks over a message set in any directory, or over one message file, as an ordinary user: it writes nothing, logs
// nothing and holds one message at a time. What grows with the set is the list of its file names alone.
#ifndef TARN_MESSAGE_SET_WALK_H
#define TARN_MESSAGE_SET_WALK_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "libtarnmessage/MessageFile.h"
#include "libtarnmessage/MessageReader.h"

namespace tarnmessage {

struct FileReport {
    std::string name;                   // without the directory
    std::uint64_t bytes = 0;            // read from the file
    FileStatus status;                  // zero where it could not be read
    kernelmsg::MessageHeader header{};  // zero when the file holds none
    std::optional<Finding> finding;     // what the kernel would refuse
    std::string problem;                // anything else: missing, unreadable, not the message that its name says
    bool missing = false;               // the set should have the file, or had it when the walk began
    int error = 0;                      // errno, where the file exists and could not be read

    bool sound() const { return !finding && problem.empty(); }
};

// Why a name in the directory is no message for the sender.
enum class PassedOver : std::uint8_t {
    kHidden,  // a leading dot
    kDirectory,
    kOther,  // neither file, link nor directory
    kLink,   // a symbolic link; none is ever followed
};
inline constexpr char kLinkProblem[] = "is a symbolic link, which is never followed";

// Sees the content of a set; the calls of MessageVisitor come between onFile and onFileEnd of their message.
class WalkVisitor : public MessageVisitor {
public:
    // A file that could be read, before its bytes are judged. The bytes last until onFileEnd returns.
    virtual void onFile(const std::string& /*name*/, std::string_view /*bytes*/) {}
    // Each message of the set, also those that are missing or could not be read (without onFile then).
    virtual void onFileEnd(const FileReport& /*report*/) {}
    // Links come where policies do, behind them; all others before the first message.
    virtual void onPassedOver(const std::string& /*name*/, PassedOver /*why*/) {}
    // False ends the walk before the next file.
    virtual bool goesOn() { return true; }
};

struct WalkOutcome {
    int error = 0;        // errno, where the path itself could not be read
    std::string problem;  // the same in words
    bool isDirectory = false;
    bool stopped = false;  // by the visitor
    std::uint64_t files = 0;
    std::uint64_t unsound = 0;     // of the files
    std::uint64_t unreadable = 0;  // of the unsound ones
    std::uint64_t records = 0;     // policy records of the sound files
    std::uint64_t links = 0;       // symbolic links that were passed over

    bool sound() const { return problem.empty() && unsound == 0; }
    // What to say of the links, in words; empty where there are none.
    std::string linkWarning() const;
};

class SetWalk {
public:
    explicit SetWalk(std::string path);

    // A directory is walked in the order of delivery: begin, namespace (where there is one), policies by name, end. A begin
    // or end message that is missing, and any of the three frame messages that is no regular file, is reported, for the
    // sender stops there; names with a leading dot and whatever else is no regular file, symbolic links among them, are no
    // messages of the set and passed over, as the sender does. Any other path is one
    // message of whatever kind; where the namespace message of its set lies beside it, calls are held against that.
    // Calls are not looked up where the namespace message is unsound, or missing beside a single file.
    WalkOutcome run(WalkVisitor& visitor);

    // What the namespace message announced; complete before the first policy record is shown.
    const FunctionTable& functions() const { return functions_; }
    const std::string& path() const { return path_; }

    // The path without slashes at its end, its last component, and the folder that holds that: "." where the path is one
    // word.
    static std::string trimmed(const std::string& path);
    static std::string baseName(const std::string& path);
    static std::string folderOf(const std::string& path);

private:
    class Run;

    std::string path_;
    FunctionTable functions_;
};

}  // namespace tarnmessage

#endif
