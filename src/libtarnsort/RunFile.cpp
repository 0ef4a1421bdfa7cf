#include "libtarnsort/RunFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "libtarnmessage/MessageText.h"
#include "libtarnsort/SortFailure.h"

namespace tarnsort {

namespace {

constexpr std::size_t kPendingBytes = std::size_t{1} << 20U;

[[noreturn]] void fail(const std::string& what, const std::string& folder, int error) {
    throw SortFailure(what + " in " + tarnmessage::escaped(folder), std::strerror(error),
                      "point TMPDIR at a folder that you may write to, with room for a copy of the set");
}

// A file that never had a name where the file system can do that, else one that loses its name at once.
int openNameless(const std::string& folder) {
    const int fd = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) {
        return fd;
    }
    std::string name = folder + "/tarn-sort-XXXXXX";
    const int named = mkostemp(name.data(), O_CLOEXEC);
    if (named >= 0) {
        static_cast<void>(unlink(name.c_str()));  // the name is ours: nothing keeps it from going
    }
    return named;
}

}  // namespace

void RunFile::open() {
    file_.reset(openNameless(folder_));
    if (!file_.valid()) {
        fail("make a temporary file", folder_, errno);
    }
}

void RunFile::write(std::string_view record) {
    const auto length = static_cast<std::uint32_t>(record.size());
    append(reinterpret_cast<const char*>(&length), sizeof length);
    append(record.data(), record.size());
}

Run RunFile::endRun() {
    flush();
    const Run run{runBegin_, written_};
    runBegin_ = written_;
    return run;
}

void RunFile::append(const char* bytes, std::size_t count) {
    pending_.append(bytes, count);
    if (pending_.size() >= kPendingBytes) {
        flush();
    }
}

void RunFile::flush() {
    if (!file_.valid()) {
        open();
    }
    for (std::size_t done = 0; done < pending_.size();) {
        const ssize_t count = ::write(file_.get(), pending_.data() + done, pending_.size() - done);
        if (count < 0 && errno != EINTR) {
            fail("write a temporary file", folder_, errno);
        }
        done += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    written_ += pending_.size();
    pending_.clear();
}

void RunFile::read(std::uint64_t offset, char* bytes, std::size_t count) const {
    while (count != 0) {
        const ssize_t got = pread(file_.get(), bytes, count, static_cast<off_t>(offset));
        if (got == 0 || (got < 0 && errno != EINTR)) {
            fail("read a temporary file", folder_, got == 0 ? EIO : errno);
        }
        const std::size_t step = got < 0 ? 0 : static_cast<std::size_t>(got);
        offset += step;
        bytes += step;
        count -= step;
    }
}

RunReader::RunReader(const RunFile& file, Run run, std::size_t bufferBytes)
    : file_(&file), left_(run), capacity_(bufferBytes), buffer_(new char[bufferBytes]) {}

bool RunReader::next() {
    if (begin_ == end_ && left_.begin == left_.end) {
        return false;
    }
    std::uint32_t length = 0;
    provide(sizeof length);
    std::memcpy(&length, buffer_.get() + begin_, sizeof length);
    begin_ += sizeof length;
    provide(length);
    record_ = {buffer_.get() + begin_, length};
    begin_ += length;
    return true;
}

void RunReader::provide(std::size_t count) {
    if (end_ - begin_ >= count) {
        return;
    }
    std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    const auto room = std::min<std::uint64_t>(capacity_ - end_, left_.end - left_.begin);
    file_->read(left_.begin, buffer_.get() + end_, static_cast<std::size_t>(room));
    left_.begin += room;
    end_ += static_cast<std::size_t>(room);
}

}  // namespace tarnsort
