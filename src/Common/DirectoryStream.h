// Opens a directory for reading, never through a link in its last component.
#ifndef TARN_COMMON_DIRECTORY_STREAM_H
#define TARN_COMMON_DIRECTORY_STREAM_H

#include <fcntl.h>

#include "Common/Handles.h"

inline constexpr int kOpenDirectory = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

// Takes the descriptor; null, with the descriptor closed, when no stream can be made of it. Logs nothing.
inline UniqueDir makeDirectoryStream(UniqueFd fd) {
    UniqueDir stream(fd.valid() ? fdopendir(fd.get()) : nullptr);
    if (stream) {
        static_cast<void>(fd.release());  // the stream owns it now
    }
    return stream;
}

inline UniqueDir openDirectoryStream(const char* path) {
    return makeDirectoryStream(UniqueFd(open(path, kOpenDirectory)));
}

#endif
