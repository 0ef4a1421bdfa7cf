#include "Report.h"

#include <json/writer.h>

#include <cstdio>
#include <cstring>
#include <utility>

namespace {

void toStandardError(const std::string& text) {
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

}  // namespace

Report::Report(Output& output, std::string verb, bool json) : output_(output), json_(json) {
    object_["format"] = kFormat;
    object_["version"] = TARN_POLICY_VERSION;
    object_["verb"] = std::move(verb);
    object_["warnings"] = Json::Value(Json::arrayValue);
}

void Report::line(const std::string& text) {
    if (!json_) {
        output_.write(text + "\n");
    }
}

void Report::warning(const std::string& text) {
    object_["warnings"].append(text);
    toStandardError("tarn-policy: warning: " + text + "\n");
}

void Report::failure(const Failure& failure) {
    Json::Value& error = object_["error"];
    error["tried"] = failure.tried();
    error["reason"] = failure.reason();
    error["advice"] = failure.advice();
    toStandardError(std::string("tarn-policy: ") + failure.what() + "\n");
}

void Report::words(const std::string& text) const {
    if (!json_) {
        toStandardError(text + "\n");
    }
}

ExitCode Report::finish(ExitCode code) {
    object_["exitCode"] = static_cast<int>(code);
    object_["exitName"] = exitCodeName(code);
    if (json_) {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "  ";
        builder["emitUTF8"] = true;
        output_.write(Json::writeString(builder, object_) + "\n");
    }
    if (output_.error() != 0) {
        toStandardError(std::string("tarn-policy: cannot write to standard output: ") + std::strerror(output_.error()) +
                        "\n");
        return code == ExitCode::kDone ? ExitCode::kFailed : code;
    }
    return code;
}
