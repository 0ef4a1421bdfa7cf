#include "reading/PageFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Common/Handles.h"
#include "Failure.h"
#include "libtarnmessage/MessageText.h"

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
    throw Failure(ExitCode::kFailed, "write " + tarnmessage::escaped(path), reason, "name a file in a folder of yours");
}

// A device or a link would be lost to the page that takes its name.
void requireReplaceable(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        fail(path, "something that is no regular file has this name");
    }
}

// A file of its own, which goes with this unless it got its final name.
class NewFile {
public:
    explicit NewFile(const std::string& path) : final_(path), name_(path + ".XXXXXX") {
        file_.reset(mkostemp(name_.data(), O_CLOEXEC));
        if (!file_.valid()) {
            fail(final_, std::strerror(errno));
        }
    }
    ~NewFile() {
        if (file_.valid()) {
            static_cast<void>(unlink(name_.c_str()));  // half a page is of no use; the failure is told
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void write(const std::string& text) {
        for (std::size_t done = 0; done < text.size();) {
            const ssize_t count = ::write(file_.get(), text.data() + done, text.size() - done);
            if (count < 0 && errno != EINTR) {
                fail(final_, std::strerror(errno));
            }
            done += count < 0 ? 0 : static_cast<std::size_t>(count);
        }
    }

    // With the mode that any new file would have got.
    void keep() {
        constexpr mode_t kAnybody = 0666;
        const mode_t mask = umask(0);
        static_cast<void>(umask(mask));
        if (fchmod(file_.get(), kAnybody & ~mask) != 0 || fsync(file_.get()) != 0 ||
            std::rename(name_.c_str(), final_.c_str()) != 0) {
            fail(final_, std::strerror(errno));
        }
        file_.reset();
    }

private:
    std::string final_;
    std::string name_;
    UniqueFd file_;
};

}  // namespace

void writePage(const std::string& path, const std::string& page) {
    requireReplaceable(path);
    NewFile file(path);
    file.write(page);
    file.keep();
}
