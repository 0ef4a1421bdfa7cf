// Free functions that the library shares with its host: logging, path checks, directory and file operations,
// line and data files, buffers and identifiers. Everything stands in the global namespace; the header needs only
// the standard library and compiles alone.
//
// Unless a function says otherwise it is reentrant, takes no lock, throws nothing but allocation failures, and
// reports a failure once, through writeLog, where the failure is found.
#ifndef TARN_COMMON_COMMON_H
#define TARN_COMMON_COMMON_H

#include <cstdint>
#include <string>
#include <vector>

#ifndef TARN_API
#define TARN_API __attribute__((visibility("default")))
#endif

// ---- Logging and timing ------------------------------------------------------------------------------------------

// Appends one line to "/var/log/tarn-policy.log". `file` and `line` name the caller's place and are printed only in
// the long prefix (enableDebugLog). `level` is 1 error, 2 warning or notice, 3 information dump, 4 routine detail;
// a message is written when its level is at most the level in force (3 at load, see setLogLevel). `format` and what
// follows are as for printf; a format that holds "%n" in any letter case, also as part of "%%n", is dropped.
//
// At most 131,071 bytes of the formatted text are kept. TAB, LF, CR, the double quote and the backslash are written
// as "\t", "\n", "\r", "\"" and "\\", so that a call always gives exactly one line. Where the file can't be opened
// (it is never opened through a symbolic link) the escaped text goes to standard output without a prefix. A file whose
// mode can't be set to 0640 is reported on standard error, by perror("fchmod"), and written all the same.
//
// A line begins with the local time, the process id and the level; the long prefix has the place after the process id:
//     [2024-05-01 10:00:00][4711] [LEVEL:1] text
//     [2024-05-01 10:00:00][4711](src/Common/DirectoryOps.cpp:42) [LEVEL:1] text
//
// Calls setlocale(LC_ALL, "chs") each time, also for a message that the level filters out. May be called from
// several threads; each line is handed over in one write. Nothing is returned and no error is raised.
TARN_API void writeLog(const char* file, int line, unsigned int level, const char* format, ...);

// Sets the process-wide log level. The number is stored as given; 4 writes everything that the library logs.
TARN_API void setLogLevel(unsigned int level);

// Installs a SIGUSR1 handler that switches the long log prefix (with source file and line) on and off, process-wide.
// Each signal prints "Debug mode enabled\n" or "Debug mode disabled\n" on descriptor 1. Not called by the library.
TARN_API void enableDebugLog();

// The local time as "2024-05-01 10:00:00".
TARN_API std::string GetSystime();

// Milliseconds since the epoch, from the system clock.
TARN_API std::int64_t getTimeStamp();

// Prints `length` bytes at `data` as a hex dump, 16 bytes a line with a character column, between two rules of 43
// dashes, on standard output, which is flushed after every full line, and logs the same text at level 3: there it is
// escaped and cut like any other, and where the log can't be opened it follows on standard output once more. The format
// flags of std::cout are left as they were.
TARN_API void printBytes(const void* data, unsigned long length);

// ---- Path safety -------------------------------------------------------------------------------------------------

// True when access(name, F_OK) succeeds. `name` must not be null.
TARN_API bool pathExist(const char* name);

// True when the path holds "../", "./" or a backslash. A pure string rule: "/.." at the very end passes. Logs nothing.
TARN_API bool HasPathEscape(const std::string& path);

// True when the path is absolute, free of escapes and lies under "/etc/tarn/" or "/sys/kernel/security/tarn/"; one that
// exists must lie there after symbolic links are resolved, too. A path that can't be found (one that does not exist, a
// dangling link, a folder that refuses the look) is judged by its text. "/etc/tarn" is refused, and so is "/etc/tarn/"
// where it exists, because it resolves to the former. Logs nothing: the caller names the refused path in its own words.
TARN_API bool IsSafeAbsolutePath(const std::string& path);

// False for an unsafe path, with "Illegal path in directoryExists: %s" at level 1; else whether the path exists, of
// whatever kind it is.
TARN_API bool SafeDirectoryExists(const std::string& path);

// Joins a mount prefix and a path under "/etc/tarn/" into `out`: the prefix without one trailing "/", then `inner`;
// with an empty prefix `out` is `inner`. Returns true when `out` is free of escapes (HasPathEscape). Refuses, before
// `out` is written, a prefix with an escape ("Mount prefix contains escape char: %s", level 1), a relative prefix
// (silent) and an inner path that does not begin with "/etc/tarn/" ("Inner dir must under %s", level 1).
TARN_API bool SafeMountPrefixConcat(const std::string& prefix, const std::string& inner, std::string& out);

// Checks that `path` is a mount point of "/proc/mounts". The comparison is byte for byte: a blank, which the table
// writes as \040, never matches. A refusal logs one message at level 1, with `label` for the name of the checked value.
// Status:
//     0   it is (the empty path and "/" always are), or the mount table can't be read and it is a directory (a notice
//         at level 2)
//     -1  malformed: relative, trailing "/", "//", a ".." component, a control character
//     -2  not in the mount table
//     -3  the mount table can't be read and the path is missing or no directory
TARN_API int validate_mount_point(const std::string& path, const std::string& label);

// ---- Directory and file operations -------------------------------------------------------------------------------
//
// No function here follows a symbolic link in the last component of a path or inside a tree. Every path is checked
// with IsSafeAbsolutePath first. Failures are logged at level 1. Nothing is rolled back: a partial removal or copy
// stays. A null argument throws std::logic_error.

// Removes a directory and everything in it; links inside are removed as links.
// Status:
//     0  removed
//     1  failure, also when the directory does not exist or the path's last component is empty, "." or ".."
TARN_API int removeDirectory(const char* path);

// Creates one directory of mode 0750, less the process's umask; parents are not created.
// Status:
//     0  created
//     1  failure, also when it already exists
TARN_API int createDirectory(const char* path);

// Renames a file or directory.
// Status:
//     0   renamed
//     1   the rename failed (silently when the source does not exist)
//     -1  a path was refused or a parent directory could not be opened
TARN_API int renameFile(const char* from, const char* to);

// Removes the directory `to` where it exists, then renames `from` to it; in between, `to` does not exist.
// Status:
//     0   renamed
//     1   a path was refused, the removal failed, or the rename failed (silently when the source does not exist; the old
//         directory is then gone)
//     -1  a parent directory could not be opened, or a path is refused after the removal
TARN_API int renameDir(const char* from, const char* to);

// Copies a regular file, replacing the content of `to`; not synced. A file that is created gets the permission bits of
// the source, less the process's umask.
// Status:
//     0  copied
//     1  failure
TARN_API int copyFile(const char* from, const char* to);

// Copies a directory tree into `to`, which may exist: files of the same name are overwritten, others are left. Links
// and files that can't be copied are logged and skipped. What is created gets mode 0750 or the permission bits of its
// source, less the process's umask.
// Status:
//     0  copied
//     1  a path was refused or a directory failed; `to` may have been created
TARN_API int copyDirectory(const char* from, const char* to);

// ---- Line files and data files -----------------------------------------------------------------------------------

// Writes `length` bytes to `path` in one write: open with `flags`, write, fsync, close. A file that is created gets mode
// 0440, less the process's umask; one that exists keeps its mode. The library always passes O_RDWR | O_CREAT | O_TRUNC |
// O_NOFOLLOW. A short write is neither retried nor reported, because the kernel takes a message in one write or not at
// all. Failures are logged at level 1, a failed write in words (Common/KernelAnswers.h for the kernel's own answers 5,
// 12, 22, 61, 70, 71 and 74); the file is then there, emptied, with whatever was taken.
// Status:
//     0      written
//     -1     the path was refused by IsSafeAbsolutePath ("####ERROR: Illegal path traversal detected: %s") or could not
//            be opened ("####ERROR: Open %s failed")
//     errno  the write failed
TARN_API int writeFileData(std::string path, const char* data, unsigned long length, unsigned int flags);

// Reads a text file, up to its first NUL byte, into its non-empty lines, which replace what `lines` held. With
// `escapeCheckOnly` the path is only checked with HasPathEscape and may lie below a mount point; else IsSafeAbsolutePath
// must accept it.
// Status:
//     0   read (with `lines` untouched in the rare case that nothing came and the stream tells neither its end nor an
//         error)
//     1   absent (silent) or empty, `lines` untouched
//     -1  refused path, not a regular file (links included) or a read error, logged at level 1, `lines` untouched
TARN_API int readFileToVecImpl(const std::string& path, std::vector<std::string>& lines, bool escapeCheckOnly);

// readFileToVecImpl(path, lines, false).
// Status:
//     0   read
//     1   absent (silent) or empty, `lines` untouched
//     -1  refused path, not a regular file (links included) or a read error, logged at level 1, `lines` untouched
TARN_API int readFileToVec(std::string path, std::vector<std::string>& lines);

// The non-empty pieces of `text` between occurrences of `delimiter`, in order; nothing is trimmed.
TARN_API std::vector<std::string> Split(const std::string& text, const char& delimiter);

// ---- Buffers and identifiers -------------------------------------------------------------------------------------

// CRC-32/ISO-HDLC, as in zlib, Ethernet and PNG: reflected polynomial 0xEDB88320, initial value and final XOR
// 0xFFFFFFFF. The check value, over the nine digits 1 to 9, is 0xCBF43926. `data` may be null when `length` is 0.
TARN_API std::uint32_t crc32(const unsigned char* data, unsigned long length);

// The number of bytes before the first NUL. `text` must not be null.
TARN_API unsigned long string_length(const char* text);

// The 32-bit identifier of a name: the CRC-32 of its bytes without the NUL. The kernel computes the same.
TARN_API std::uint32_t stringToId(const char* name);

// Appends `count` bytes to an output buffer of `capacity` bytes, whose next free byte is `cursor` and of which `used`
// bytes are filled; cursor and used move on together. True when the bytes were appended or `count` is 0 (`source` may
// be null then). False, with the cursor where it was, when the cursor or the source is null, the bytes do not fit, more
// than 0x7FFFFFFF bytes are free, which the bounds-checked copy does not believe, or the source overlaps the bytes that
// would be written, which are then zero.
TARN_API bool safeMemcpy(char*& cursor, unsigned long& used, unsigned long capacity, const void* source,
                         unsigned long count);

#endif
