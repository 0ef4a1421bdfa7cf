// The files a document consists of. They are read several times, so that a change in between must not pass. Internal to
// this library.
#ifndef TARN_POLICYDOC_SOURCE_FILES_H
#define TARN_POLICYDOC_SOURCE_FILES_H

#include <string>

#include "Common/Handles.h"
#include "libtarnpolicydoc/PolicyDocument.h"
#include "libtarnpolicydoc/Report.h"

namespace policydoc {

// Opens a regular file and notes what it is. An invalid handle when it can't be opened, with `why` in words.
UniqueFd openSource(SourceFile& file, std::string& why);

// Opens it again. An invalid handle, reported, when it can't be opened or is no longer the file that was noted.
UniqueFd reopenSource(const SourceFile& file, const Reporter& report);

// A name in a document is relative to the document's folder.
std::string besideDocument(const std::string& documentPath, const std::string& name);

}  // namespace policydoc

#endif
