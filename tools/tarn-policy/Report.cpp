#include "Report.h"

#include <json/writer.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "libtarnpolicydoc/Text.h"

namespace {

// Enough for few system calls, and little enough for a reader who waits.
constexpr std::size_t kPendingBytes = 65536;

void toStandardError(const std::string& text) {
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

}  // namespace

Report::Report(Output& output, std::string verb, bool json) : output_(output), json_(json) {
    object_["format"] = kFormat;
    object_["version"] = TARN_POLICY_VERSION;
    object_["verb"] = verb;
    object_["warnings"] = Json::Value(Json::arrayValue);
}

void Report::line(const std::string& text) {
    if (!json_) {
        pending_ += policydoc::printable(text, true) + "\n";
        flush();
    }
}

void Report::warning(const std::string& text) {
    object_["warnings"].append(text);
    toStandardError("tarn-policy: warning: " + policydoc::printable(text, true) + "\n");
}

void Report::failure(const Failure& failure) {
    Json::Value& error = object_["error"];
    error["tried"] = failure.tried();
    error["reason"] = failure.reason();
    error["advice"] = failure.advice();
    toStandardError("tarn-policy: " + policydoc::printable(failure.what(), true) + "\n");
}

void Report::words(const std::string& text) const {
    if (!json_) {
        toStandardError(policydoc::printable(text, true) + "\n");
    }
}

bool Report::write(const std::string& text) {
    pending_ += text;
    if (pending_.size() >= kPendingBytes) {
        flush();
    }
    return output_.error() == 0;
}

void Report::openArray(const std::string& name) {
    static_cast<void>(write("{\"" + name + "\": ["));
    array_ = Array::kEmpty;
}

bool Report::element(const std::string& value) {
    static_cast<void>(write(array_ == Array::kEmpty ? "\n" : ",\n"));
    array_ = Array::kFilled;
    return write(value);
}

void Report::withoutObject() {
    hasObject_ = false;
}

void Report::flush() {
    output_.write(pending_);
    pending_.clear();
}

void Report::writeObject() {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = array_ == Array::kNone ? "  " : "";
    builder["emitUTF8"] = true;
    const std::string text = policydoc::validUtf8(Json::writeString(builder, object_));
    // Behind an array the object is open already.
    pending_ += array_ == Array::kNone ? text + "\n" : "\n], " + text.substr(1) + "\n";
}

bool Report::finish(ExitCode code, const char* codeName) {
    object_["exitCode"] = static_cast<int>(code);
    object_["exitName"] = codeName;
    if (json_ && hasObject_) {
        writeObject();
    }
    flush();
    if (output_.error() == 0 || (readerMayLeave_ && output_.error() == EPIPE)) {
        return true;
    }
    toStandardError(std::string("tarn-policy: cannot write to standard output: ") + std::strerror(output_.error()) +
                    "\n");
    return false;
}
