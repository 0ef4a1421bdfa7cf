#include "reading/Printer.h"

#include <cstring>

#include "libtarnmessage/MessageText.h"
#include "reading/SetNames.h"

void Printer::onFile(const std::string& name, std::string_view bytes) {
    words_.startFile(name);
    path_ = folder_ + name;
    bytes_ = bytes;
    kernelmsg::MessageHeader header{};
    const bool hasHeader = !tarnmessage::readHeader(bytes, header);
    startMessage(bytes, header, hasHeader);
}

void Printer::onFileEnd(const tarnmessage::FileReport& file) {
    path_ = folder_ + file.name;
    endMessage(file, bytes_);
    bytes_ = {};
}

std::string whatStandsAgainst(const tarnmessage::FileReport& file) {
    if (!file.finding) {
        return file.problem;
    }
    const int answer = file.finding->answer();
    return toText(*file.finding) + "; the kernel would answer " + std::to_string(answer) + " (" +
           std::strerror(answer) + ")";
}

std::string messageTitle(std::size_t bytes, const kernelmsg::MessageHeader& header, bool hasHeader) {
    if (!hasHeader) {
        return counted(bytes, "byte", "bytes") + " that are no message";
    }
    std::string title = tarnmessage::messageTypeText(header.type) + " message, " + counted(bytes, "byte", "bytes");
    if (header.type == kernelmsg::kTypePolicy) {
        title += ", " + counted(header.recordCount, "record", "records");
    } else if (header.type == kernelmsg::kTypeNamespace) {
        title += ", " + counted(header.recordCount, "namespace", "namespaces");
    }
    return title;
}
