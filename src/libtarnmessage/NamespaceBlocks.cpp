#include "libtarnmessage/MessageBody.h"

namespace tarnmessage {

namespace {

using kernelmsg::NameNodeRecord;

bool checkReserved(BodyReader& body, std::size_t nodeOffset, const NameNodeRecord& node) {
    std::size_t offset = nodeOffset + offsetof(NameNodeRecord, reserved);
    for (const std::uint32_t word : node.reserved) {
        if (!body.require(FindingCode::kReservedWord, offset, 0, word)) {
            return false;
        }
        offset += sizeof(word);
    }
    return true;
}

// A namespace is announced for the sake of its functions; one without any has no block.
bool checkFunctionCount(BodyReader& body, std::size_t nodeOffset, const NameNodeRecord& node) {
    return node.functionCount != 0 || body.fail(FindingCode::kNamespaceWithoutFunctions,
                                                nodeOffset + offsetof(NameNodeRecord, functionCount), 1, 0);
}

// Function numbers are positions: 1 for the first.
bool readFunctions(BodyReader& body, std::uint32_t count) {
    for (std::uint32_t expected = 1; expected <= count && expected != 0; ++expected) {
        const std::size_t offset = body.cursor.position();
        kernelmsg::FuncNodeRecord record{};
        std::string_view name;
        if (!body.take(record) || !body.require(FindingCode::kFunctionOrder, offset, expected, record.functionId) ||
            !body.takeBytes(record.nameLength, name)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool readNamespaceBlock(BodyReader& body, NamespaceView& block) {
    block.offset = body.cursor.position();
    if (!body.takeMagicNumber()) {
        return false;
    }
    const std::size_t nodeOffset = body.cursor.position();
    if (!body.take(block.node) || !checkFunctionCount(body, nodeOffset, block.node) ||
        !checkReserved(body, nodeOffset, block.node) || !body.takeBytes(block.node.nameLength, block.name)) {
        return false;
    }
    block.functionBytes = body.cursor;
    if (!readFunctions(body, block.node.functionCount)) {
        return false;
    }
    block.bytes = body.bytes.substr(block.offset, body.cursor.position() - block.offset);
    return true;
}

}  // namespace tarnmessage
