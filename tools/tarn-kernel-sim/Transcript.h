// What the kernel was told and what it answered, one line per message:
//   3 policy bytes=243 records=1 accepted
//   4 policy bytes=243 records=1 refused EINVAL (22) offset 24: wrong policy type ...
#ifndef TARN_KERNEL_SIM_TRANSCRIPT_H
#define TARN_KERNEL_SIM_TRANSCRIPT_H

#include <cstdint>
#include <string>

#include "Common/Handles.h"

namespace sim {

// "EINVAL (22)", or "errno 99" for an answer without a name.
std::string errnoText(int number);

class Transcript {
public:
    // Writes every further line through to this file, which is emptied. 0, or the errno of the open.
    int writeTo(const std::string& path);

    // Adds one line; the line feed is added here, and the file gets the line in one write.
    void add(std::string line);
    void clear() { text_.clear(); }

    const std::string& text() const { return text_; }

private:
    std::string text_;
    UniqueFd file_;
};

}  // namespace sim

#endif
